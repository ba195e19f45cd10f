#import "faces/objc/sqm-objc/host.h"

@interface SQMHost (Handle)

/* The handle of this host for calls of C. */
- (sqm_host*)handle;

/* What `addUpload:` has added; NSNull for a manager. */
- (NSMutableArray*)keptUploads;
@end
