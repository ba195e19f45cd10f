#import "faces/objc/sqm-objc/host.h"

/* A log of a host. */
@interface SQMHostLogFile : NSObject <SQMLogFile> {
 @private
  struct sqm_objc_log* _body;
}

- (id)initWithFile:(NSString*)file level:(int)level ofHost:(SQMHost*)host;
@end
