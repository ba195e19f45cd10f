// The schedule, the end of a host, the counts and the consent.

#include <memory>
#include <stdexcept>
#include <vector>

#include "faces/c/sqm-c/delivery.h"
#include "faces/c/sqm-c/targets.h"
#include "faces/objc/internal/Bridge.h"
#import "faces/objc/internal/SQMHost+Handle.h"
#import "faces/objc/internal/SQMManager+Handle.h"

using sqm::objc::callOut;
using sqm::objc::CText;
using sqm::objc::guarded;
using sqm::objc::succeeded;
using sqm::objc::takenString;

namespace {

struct DestroyTarget {
  void operator()(sqm_target* target) const { sqm_target_destroy(target); }
};
using Target = std::unique_ptr<sqm_target, DestroyTarget>;

id<SQMUploadTarget> uploadOf(void* context) { return static_cast<id>(context); }

void start(void* context) {
  callOut([=] { [uploadOf(context) startUpload]; });
}

bool isIdle(void* context) {
  bool result = true;
  callOut([&] { result = [uploadOf(context) isUploadIdle]; });
  return result;
}

void save(void* context) {
  callOut([=] { [uploadOf(context) saveWaiting]; });
}

size_t waiting(void* context) {
  size_t result = 0;
  callOut([&] { result = [uploadOf(context) waitingCount]; });
  return result;
}

sqm_target* newTarget(id upload) {
  if ([upload isKindOfClass:[SQMManager class]])
    return sqm_target_of_manager([static_cast<SQMManager*>(upload) handle]);
  if ([upload isKindOfClass:[QFRecordUploader class]]) return sqm_target_of_queue();
  const auto has = [=](SEL method) { return [upload respondsToSelector:method] == YES; };
  const sqm_target_table table = {
    sizeof table,
    upload,
    has(@selector(startUpload)) ? start : nullptr,
    has(@selector(isUploadIdle)) ? isIdle : nullptr,
    has(@selector(saveWaiting)) ? save : nullptr,
    has(@selector(waitingCount)) ? waiting : nullptr
  };
  return sqm_target_create(&table);
}

/// The target of an upload, which it does not retain.
Target targetOf(id upload) {
  Target target(newTarget(upload));
  if (!target) throw std::invalid_argument(sqm_last_error());
  return target;
}

NSArray* arrayOf(const std::vector<uint64_t>& numbers) {
  NSMutableArray* const array = [NSMutableArray array];
  for (const uint64_t number : numbers) [array addObject:[NSNumber numberWithUnsignedLongLong:number]];
  return array;
}

}  // namespace

@implementation SQMHost (Uploads)

- (void)addUpload:(id)upload {
  SQMHost* const host = self;
  guarded([&] {
    const Target target = targetOf(upload);
    succeeded(sqm_schedule_add_target([host handle], target.get()));
    // A manager retains its host, so that the host must not retain it: its target ends with it.
    const bool isManager = [upload isKindOfClass:[SQMManager class]];
    [[host keptUploads] addObject:isManager ? static_cast<id>([NSNull null]) : upload];
  });
}

- (void)startSchedule {
  succeeded(sqm_schedule_start([self handle]));
}

- (void)stopSchedule {
  succeeded(sqm_schedule_stop([self handle]));
}

- (void)uploadNow {
  succeeded(sqm_schedule_upload_now([self handle]));
}

- (void)uploadLast {
  succeeded(sqm_schedule_upload_last([self handle]));
}

- (void)networkChanged {
  succeeded(sqm_schedule_network_changed([self handle]));
}

- (BOOL)isUploading {
  return sqm_schedule_is_uploading([self handle]);
}

- (uint64_t)uploads {
  return sqm_schedule_uploads([self handle]);
}

- (BOOL)shutDownWithin:(NSTimeInterval)seconds uploads:(NSArray*)uploads waiting:(NSArray**)waiting {
  SQMHost* const host = self;
  return guarded([&]() -> BOOL {
    std::vector<Target> targets;
    for (NSUInteger at = 0; at < [uploads count]; ++at) targets.push_back(targetOf([uploads objectAtIndex:at]));
    std::vector<sqm_target*> all;
    for (const Target& target : targets) all.push_back(target.get());
    std::vector<size_t> left([[host keptUploads] count] + all.size());
    bool isCutOff = false;
    succeeded(sqm_host_shut_down([host handle], sqm::objc::millisecondsOf(seconds), all.data(), all.size(), &isCutOff,
                                 left.data(), left.size()));
    if (waiting != nullptr) *waiting = arrayOf({left.begin(), left.end()});
    return !isCutOff;
  });
}

- (NSArray*)statisticsOfList:(int32_t)list {
  SQMHost* const host = self;
  return guarded([&] {
    std::vector<uint64_t> counts(SQM_COUNTS);
    succeeded(sqm_host_statistics([host handle], list, counts.data(), counts.size()));
    return arrayOf(counts);
  });
}

+ (NSString*)nameOfDropReason:(int32_t)reason {
  return sqm::objc::tableText(sqm_drop_reason_name(reason));
}

- (BOOL)setConsent:(int32_t)consent {
  return succeeded(sqm_consent_set([self handle], consent));
}

- (int32_t)consent {
  return sqm_consent_get([self handle]);
}

- (void)addSessionFolder:(NSString*)folder {
  SQMHost* const host = self;
  guarded([&] { succeeded(sqm_consent_add_session_folder([host handle], CText(folder))); });
}

@end
