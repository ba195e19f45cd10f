#include <memory>
#include <utility>

#include "sqm/upload/SQMUploadNotifications.h"

#import "faces/objc/internal/SQMUpdaterAgent+Borrowed.h"

using sqm::objc::GivenNotification;
using sqm::objc::guarded;
using sqm::objc::initialized;
using sqm::objc::stringOf;
using sqm::objc::textOf;

NSString* const TrelkSQMUploadSuccess = @"TrelkSQMUploadSuccess";
NSString* const TrelkSQMUploadFailure = @"TrelkSQMUploadFailure";
NSString* const TrelkSQMUploadComplete = @"TrelkSQMUploadComplete";
NSString* const TrelkSQMUploadError = @"TrelkSQMUploadError";

struct sqm_objc_agent {
  sqm_objc_agent(const sqm::objc::KeptHost& kept, std::shared_ptr<sqm::SQMUpdaterAgent> made, id sender)
      : host(kept),
        agent(std::move(made)),
        announcer(host.services(), {TrelkSQMUploadSuccess, TrelkSQMUploadFailure}, agent.get(), sender) {}

  sqm::objc::KeptHost host;
  std::shared_ptr<sqm::SQMUpdaterAgent> agent;  // null after the end of its manager
  sqm::objc::Announcer announcer;
};

@implementation SQMUpdaterAgent

- (id)init {
  self = [super init];
  id const sender = self;
  return initialized(self, _body, [&] {
    const sqm::objc::KeptHost host;
    std::shared_ptr<sqm::SQMUpdaterAgent> agent = sqm::SQMUpdaterAgent::create(host.services());
    return agent ? new sqm_objc_agent(host, std::move(agent), sender) : nullptr;
  });
}

- (id)initWithAgent:(const std::shared_ptr<sqm::SQMUpdaterAgent>&)agent ofHost:(const sqm::objc::KeptHost&)host {
  self = [super init];
  id const sender = self;
  return initialized(self, _body, [&] { return new sqm_objc_agent(host, agent, sender); });
}

- (void)end {
  auto& body = *_body;
  guarded([&] {
    body.announcer.stop();
    body.agent.reset();
  });
}

- (void)dealloc {
  delete _body;
  [super dealloc];
}

- (void)setSQMUploadUrl:(NSString*)url {
  auto& body = *_body;
  guarded([&] {
    if (body.agent) body.agent->setSQMUploadUrl(textOf(url));
  });
}

- (NSString*)sqmUploadUrl {
  auto& body = *_body;
  return guarded([&] { return body.agent ? stringOf(body.agent->sqmUploadUrl()) : nil; });
}

- (void)startUploadToURL:(NSString*)url withData:(NSString*)data {
  auto& body = *_body;
  guarded([&] {
    if (body.agent) body.agent->startUploadToURL(textOf(url), textOf(data));
  });
}

- (void)abortSend {
  auto& body = *_body;
  guarded([&] {
    if (body.agent) body.agent->abortSend();
  });
}

- (void)httpStatus:(NSNotification*)notification {
  auto& body = *_body;
  guarded([&] {
    const auto agent = body.agent;  // an observer may end the manager
    if (agent) agent->httpStatus(GivenNotification(notification));
  });
}

- (int32_t)uploadStatus {
  auto& body = *_body;
  return guarded([&] { return body.agent ? static_cast<int32_t>(body.agent->uploadStatus()) : 0; });
}

@end
