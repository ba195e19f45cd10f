#include <deque>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "faces/objc/internal/Bridge.h"
#import "faces/objc/internal/HostLogFile.h"
#import "faces/objc/internal/SQMHost+Handle.h"
#import "faces/objc/internal/SQMHostOptions+Handle.h"

using sqm::objc::CText;
using sqm::objc::guarded;
using sqm::objc::initialized;
using sqm::objc::stringOf;
using sqm::objc::succeeded;
using sqm::objc::takenString;

struct sqm_objc_host {
  explicit sqm_objc_host(SQMHostOptions* given)
      : options(given == nil ? [[SQMHostOptions alloc] init] : [given retain]),
        handle(sqm_host_create([options handle])),
        uploads([[NSMutableArray alloc] init]) {}
  sqm_objc_host(const sqm_objc_host&) = delete;
  sqm_objc_host& operator=(const sqm_objc_host&) = delete;
  ~sqm_objc_host() {
    [wake release];
    sqm_host_destroy(handle);
    [uploads release];
    [options release];
  }

  SQMHostOptions* options;  // has the delegate
  sqm_host* handle;
  NSMutableArray* uploads;
  NSFileHandle* wake = nil;  // nil when the host has no descriptor to wait for
};

namespace {

/// The host that was installed last, retained.
struct Installed {
  std::recursive_mutex mutex;
  SQMHost* host = nil;
};

Installed& installed() {
  static auto& one = *new Installed;  // hosts may be used until the process ends
  return one;
}

}  // namespace

@interface SQMHost (RunLoop)
- (void)waitInRunLoop;
- (void)wakeUp:(NSNotification*)notification;
@end

@implementation SQMHost

+ (SQMHost*)sharedHost {
  return guarded([] {
    auto& one = installed();
    const std::lock_guard lock(one.mutex);
    if (one.host == nil) [[[[SQMHost alloc] init] autorelease] install];
    return [[one.host retain] autorelease];
  });
}

- (id)init {
  return [self initWithHostOptions:nil];
}

- (id)initWithHostOptions:(SQMHostOptions*)options {
  self = [super init];
  self = initialized(self, _body, [&] {
    auto body = std::make_unique<sqm_objc_host>(options);
    if (body->handle == nullptr) throw std::runtime_error(sqm_last_error());
    return body.release();
  });
  [self waitInRunLoop];
  return self;
}

- (void)dealloc {
  [[NSNotificationCenter defaultCenter] removeObserver:self];
  delete _body;
  [super dealloc];
}

- (sqm_host*)handle {
  return _body->handle;
}

- (NSMutableArray*)keptUploads {
  return _body->uploads;
}

- (void)install {
  succeeded(sqm_host_install(_body->handle));
  SQMHost* const host = self;
  guarded([&] {
    auto& one = installed();
    const std::lock_guard lock(one.mutex);
    [host retain];
    [one.host release];
    one.host = host;
  });
}

- (BOOL)makeFolders {
  return succeeded(sqm_host_make_folders(_body->handle));
}

- (NSString*)applicationFolder {
  return takenString(sqm_host_application_folder(_body->handle));
}

- (int32_t)folderLock {
  return sqm_host_folder_lock(_body->handle);
}

- (BOOL)setClientTimeStamp:(NSString*)timeStamp {
  auto& body = *_body;
  return guarded([&] { return succeeded(sqm_host_set_client_time_stamp(body.handle, CText(timeStamp))); });
}

- (NSString*)clientTimeStamp {
  return takenString(sqm_host_client_time_stamp(_body->handle));
}

- (void)setFilterRules:(NSArray*)rules {
  auto& body = *_body;
  guarded([&] {
    std::deque<CText> texts;  // which stay where they are
    const auto kept = [&](NSDictionary* rule, NSString* key) -> const char* {
      return texts.emplace_back([rule objectForKey:key]);
    };
    std::vector<sqm_filter_rule> all;
    for (NSUInteger at = 0; at < [rules count]; ++at) {
      NSDictionary* const rule = [rules objectAtIndex:at];
      all.push_back({kept(rule, @"name"), kept(rule, @"subType"), kept(rule, @"key"), kept(rule, @"value")});
    }
    succeeded(sqm_host_set_filter_rules(body.handle, all.data(), all.size()));
  });
}

- (id<SQMLogFile>)logFile:(NSString*)file level:(int)level {
  return [[[SQMHostLogFile alloc] initWithFile:file level:level ofHost:self] autorelease];
}

// --- The loop ---

/* Has `wakeUp:` called when a task is due. */
- (void)waitInRunLoop {
  const int descriptor = sqm_host_wake_fd(_body->handle);
  if (descriptor < 0) return;
  _body->wake = [[NSFileHandle alloc] initWithFileDescriptor:descriptor closeOnDealloc:NO];
  [[NSNotificationCenter defaultCenter] addObserver:self
                                           selector:@selector(wakeUp:)
                                               name:NSFileHandleDataAvailableNotification
                                             object:_body->wake];
  [_body->wake waitForDataInBackgroundAndNotify];
}

- (void)wakeUp:(NSNotification*)notification {
  (void)notification;
  [[self retain] autorelease];  // a task may release the host
  const sqm_status status = sqm_host_run_pending(_body->handle, nullptr);
  [_body->wake waitForDataInBackgroundAndNotify];  // also after a task that has failed
  succeeded(status);
}

- (BOOL)runUntilIdleWithin:(NSTimeInterval)seconds {
  bool isIdle = false;
  succeeded(sqm_host_run_until_idle(_body->handle, sqm::objc::millisecondsOf(seconds), &isIdle));
  return isIdle;
}

- (NSUInteger)runPending {
  size_t ran = 0;
  succeeded(sqm_host_run_pending(_body->handle, &ran));
  return ran;
}

- (NSUInteger)requestsUnderWay {
  return sqm_host_requests_under_way(_body->handle);
}

@end
