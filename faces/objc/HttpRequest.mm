#include <deque>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "faces/c/sqm-c/services.h"
#include "faces/objc/internal/Bridge.h"
#import "faces/objc/internal/SQMHttpRequest+Handle.h"

using sqm::objc::CText;
using sqm::objc::guarded;

namespace {

/// The requests that have not ended, not retained.
struct Requests {
  std::mutex mutex;
  std::map<sqm_http_request*, SQMHttpRequest*> byHandle;
};

Requests& requests() {
  static auto& all = *new Requests;  // hosts of every thread use it until the process ends
  return all;
}

}  // namespace

@interface SQMHttpRequest (End)
- (void)end:(const sqm_http_response&)response;
- (void)endAs:(int32_t)outcome reason:(NSString*)reason;
@end

@implementation SQMHttpRequest

- (id)initWithHandle:(sqm_http_request*)handle URL:(NSString*)url body:(NSData*)body {
  self = [super init];
  SQMHttpRequest* const request = self;
  self = sqm::objc::initialized(self, _request, [&] {
    auto& all = requests();
    const std::lock_guard lock(all.mutex);
    all.byHandle.emplace(handle, request);
    return handle;
  });
  _url = [url copy];
  _body = [body retain];
  return self;
}

- (void)dealloc {
  if (_request != nullptr) [self failWithReason:@"the application has dropped the request"];
  [_url release];
  [_body release];
  [super dealloc];
}

+ (SQMHttpRequest*)requestWithHandle:(sqm_http_request*)handle {
  return guarded([&]() -> SQMHttpRequest* {
    auto& all = requests();
    const std::lock_guard lock(all.mutex);
    const auto found = all.byHandle.find(handle);
    return found == all.byHandle.end() ? nil : found->second;
  });
}

- (NSString*)URL {
  return _url;
}

- (NSData*)body {
  return _body;
}

- (void)end:(const sqm_http_response&)response {
  auto& handle = _request;
  guarded([&] {
    auto& all = requests();
    const std::lock_guard lock(all.mutex);
    if (sqm::objc::succeeded(sqm_http_request_end(handle, &response)))
      all.byHandle.erase(std::exchange(handle, nullptr));
  });
}

- (void)endAs:(int32_t)outcome reason:(NSString*)reason {
  SQMHttpRequest* const request = self;
  guarded([&] {
    const CText text(reason);
    sqm_http_response response{};
    response.size = sizeof response;
    response.outcome = outcome;
    response.reason = text;
    [request end:response];
  });
}

- (void)endWithStatus:(int32_t)status
                 body:(NSData*)body
              headers:(NSDictionary*)headers
           retryAfter:(NSTimeInterval)retryAfter {
  SQMHttpRequest* const request = self;
  guarded([&] {
    std::deque<CText> texts;  // which stay where they are
    std::vector<sqm_http_header> given;
    NSEnumerator* const names = [headers keyEnumerator];
    for (NSString* name = [names nextObject]; name != nil; name = [names nextObject]) {
      const CText& key = texts.emplace_back(name);
      given.push_back({key, texts.emplace_back([headers objectForKey:name])});
    }
    sqm_http_response response{};
    response.size = sizeof response;
    response.outcome = SQM_HTTP_COMPLETED;
    response.status = status;
    response.body = static_cast<const char*>([body bytes]);
    response.body_size = [body length];
    response.retry_after_seconds = static_cast<int64_t>(retryAfter);
    response.headers = given.data();
    response.header_count = given.size();
    [request end:response];
  });
}

- (void)failWithReason:(NSString*)reason {
  [self endAs:SQM_HTTP_FAILED reason:reason];
}

- (void)timeOutWithReason:(NSString*)reason {
  [self endAs:SQM_HTTP_TIMED_OUT reason:reason];
}

@end
