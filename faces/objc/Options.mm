#include "faces/objc/internal/Bridge.h"
#import "faces/objc/internal/SQMHostOptions+Handle.h"

using sqm::objc::callOut;
using sqm::objc::CText;
using sqm::objc::stringOf;
using sqm::objc::succeeded;
using sqm::objc::textOf;

namespace {

/// Raises the last error of this thread when a call of C has given nothing.
sqm_options* made(sqm_options* options) {
  if (options == nullptr) sqm::objc::raise({NSMallocException, stringOf(sqm_last_error())});
  return options;
}

}  // namespace

@implementation SQMHostOptions

- (id)init {
  return [self initWithHandle:made(sqm_options_create())];
}

+ (SQMHostOptions*)recommended {
  return [[[SQMHostOptions alloc] initWithHandle:made(sqm_options_create_recommended())] autorelease];
}

- (id)initWithHandle:(sqm_options*)options {
  self = [super init];
  if (self == nil) return nil;
  _options = options;
  NSString* const table = [[NSBundle mainBundle] pathForResource:@"SQMFieldNames" ofType:@"plist"];
  if (table != nil) [self setText:[table stringByDeletingLastPathComponent] forOption:SQM_TEXT_RESOURCE_DIRECTORY];
  return self;
}

- (void)dealloc {
  sqm_options_destroy(_options);
  [_delegate release];
  [super dealloc];
}

- (void)setNumber:(int64_t)value forOption:(int32_t)option {
  succeeded(sqm_options_set_number(_options, option, value));
}

- (void)setText:(NSString*)value forOption:(int32_t)option {
  sqm_options* const options = _options;
  sqm::objc::guarded([&] { succeeded(sqm_options_set_text(options, option, CText(value))); });
}

- (void)setLimitOfList:(int32_t)list records:(int64_t)records bytes:(int64_t)bytes ageSeconds:(int64_t)age {
  succeeded(sqm_options_set_limit(_options, list, records, bytes, age));
}

- (void)setDelegate:(id)delegate {
  if (_delegate != nil) sqm::objc::raise({NSInvalidArgumentException, @"the options have a delegate"});
  _delegate = [delegate retain];
  sqm::objc::useDelegate(_options, delegate);
}

- (sqm_options*)handle {
  return _options;
}

@end
