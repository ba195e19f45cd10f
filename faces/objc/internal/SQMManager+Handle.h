#import "faces/objc/sqm-objc/manager.h"

@interface SQMManager (Handle)

/* The handle of this manager for calls of C. */
- (struct sqm_manager*)handle;
@end
