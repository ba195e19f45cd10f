#include "faces/objc/internal/HostLogFile.h"

#include <memory>

#include "sqm/common/LogFile.h"

#include "faces/objc/internal/Bridge.h"

using sqm::objc::initialized;
using sqm::objc::textOf;

struct sqm_objc_log {
  sqm::objc::KeptHost host;  // with the delegate that may write the log
  std::unique_ptr<sqm::LogFile> file;
};

@implementation SQMHostLogFile

- (id)initWithFile:(NSString*)file level:(int)level ofHost:(SQMHost*)host {
  self = [super init];
  return initialized(self, _body, [&] {
    const sqm::objc::KeptHost kept(host);
    auto log = kept.services().logFiles->initWithFile(textOf(file).value_or(""), level);
    return log ? new sqm_objc_log{kept, std::move(log)} : nullptr;
  });
}

- (void)dealloc {
  delete _body;
  [super dealloc];
}

- (void)writeLogToFileWithInfo:(NSString*)info userLevel:(int)level fmt:(NSString*)format, ... {
  va_list arguments;
  va_start(arguments, format);
  NSString* const text = [[[NSString alloc] initWithFormat:format arguments:arguments] autorelease];
  va_end(arguments);
  auto& body = *_body;
  sqm::objc::guarded(
      [&] { body.file->writeLogToFileWithInfo(textOf(info).value_or(""), level, "%@", {textOf(text).value_or("")}); });
}

@end
