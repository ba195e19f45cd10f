#import "faces/objc/sqm-objc/queue.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "sqm/common/Format.h"
#include "sqm/common/KeyedCoder.h"
#include "sqm/common/LogFile.h"
#include "sqm/queue/QFRecordUploader.h"

#include "faces/c/internal/Objects.h"
#include "faces/objc/internal/Bridge.h"
#include "faces/objc/internal/QueuedRequests.h"
#import "faces/objc/internal/SQMSharedObject+Shared.h"

using sqm::UploadRequest;
using sqm::UploadRequests;
using sqm::c::queue;
using sqm::objc::dictionaryOf;
using sqm::objc::guarded;
using sqm::objc::initialized;
using sqm::objc::requestOf;
using sqm::objc::stringOf;
using sqm::objc::textOf;

NSString* const kQFRecordData = @"QFRecordData";

namespace {

NSMutableArray* arrayOf(const std::optional<UploadRequests>& requests) {
  if (!requests) return nil;
  NSMutableArray* array = [NSMutableArray array];
  for (const UploadRequest& request : *requests) [array addObject:dictionaryOf(request)];
  return array;
}

std::optional<UploadRequests> requestsOf(NSArray* array) {
  if (array == nil) return std::nullopt;
  UploadRequests requests;
  for (NSUInteger at = 0; at < [array count]; ++at) requests.push_back(requestOf([array objectAtIndex:at]));
  return requests;
}

/// A coder of Objective-C.
class Coder final : public sqm::KeyedCoder {
 public:
  explicit Coder(NSCoder* coder) : coder_(coder) {}

  void encodeObject(const std::optional<UploadRequests>& object, std::string_view forKey) override {
    [coder_ encodeObject:arrayOf(object) forKey:stringOf(forKey)];
  }

  std::optional<UploadRequests> decodeObjectForKey(std::string_view key) override {
    return requestsOf([coder_ decodeObjectForKey:stringOf(key)]);
  }

 private:
  NSCoder* coder_;
};

/// A log of Objective-C, which is not retained.
class Log final : public sqm::LogFile {
 public:
  void set(id<SQMLogFile> log) { log_ = log; }
  id<SQMLogFile> get() const { return static_cast<id>(log_.load()); }

  void write(const sqm::LogLine& line) override {
    const id<SQMLogFile> log = get();
    sqm::objc::callOut([&] {
      std::string text;
      sqm::appendFormatted(text, line.format, line.arguments);
      [log writeLogToFileWithInfo:stringOf(line.info) userLevel:line.userLevel fmt:@"%@", stringOf(text)];
    });
  }

 private:
  std::atomic<void*> log_ = nullptr;
};

Log& queueLog() {
  static auto& log = *new Log;  // never destroyed, as the queue
  return log;
}

}  // namespace

/// The host of the queue. Neither is ever destroyed.
struct sqm_objc_queue {
  sqm::objc::KeptHost host;
};

@implementation QFRecordUploader

+ (QFRecordUploader*)sharedQFRecordUploader {
  return [self shared];
}

- (id)init {
  self = [super init];
  return initialized(self, _body, [] {
    auto body = std::make_unique<sqm_objc_queue>();
    queue();
    return body.release();
  });
}

- (id)initWithCoder:(NSCoder*)coder {
  self = [super init];
  return initialized(self, _body, [&] {
    auto body = std::make_unique<sqm_objc_queue>();
    Coder content(coder);
    return sqm::QFRecordUploader::initWithCoder(content) == nullptr ? nullptr : body.release();
  });
}

- (void)encodeWithCoder:(NSCoder*)coder {
  guarded([&] {
    Coder content(coder);
    queue().encodeWithCoder(content);
  });
}

- (BOOL)quequeRecord:(NSString*)data serverDetails:(NSString*)url {
  return guarded([&]() -> BOOL { return queue().quequeRecord(textOf(data), textOf(url)); });
}

- (void)uploadRecord {
  guarded([] { queue().uploadRecord(); });
}

- (BOOL)isIdle {
  return guarded([]() -> BOOL { return queue().isIdle(); });
}

- (void)httpStatus:(NSNotification*)notification {
  guarded([&] { queue().httpStatus(sqm::objc::GivenNotification(notification)); });
}

- (NSMutableArray*)recordQueue {
  return guarded([]() -> NSMutableArray* {
    static SQMQueuedRequests* const shared = [[SQMQueuedRequests alloc] init];
    bool exists = false;
    queue().useRecordQueue([&](const auto& requests) { exists = requests.has_value(); });
    return exists ? shared : nil;
  });
}

- (void)setRecordQueue:(NSMutableArray*)requests {
  guarded([&] { queue().setRecordQueue(requestsOf(requests)); });
}

- (BOOL)uploadInProgress {
  return guarded([]() -> BOOL { return queue().uploadInProgress(); });
}

- (void)setUploadInProgress:(BOOL)inProgress {
  guarded([&] { queue().setUploadInProgress(inProgress); });
}

- (NSDictionary*)currentURLRequest {
  return guarded([]() -> NSDictionary* {
    const auto request = queue().currentURLRequest();
    return request ? dictionaryOf(*request) : nil;
  });
}

- (void)setCurrentURLRequest:(NSDictionary*)request {
  guarded([&] { queue().setCurrentURLRequest(request == nil ? std::nullopt : std::optional(requestOf(request))); });
}

- (id<SQMLogFile>)logfile {
  return guarded([] { return queueLog().get(); });
}

- (void)setLogfile:(id<SQMLogFile>)log {
  guarded([&] {
    queueLog().set(log);
    queue().setLogfile(log == nil ? nullptr : &queueLog());
  });
}

@end
