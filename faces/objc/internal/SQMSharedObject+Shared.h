#import "faces/objc/sqm-objc/codes.h"

@interface SQMSharedObject (Shared)

/* The object of the class, made by the first call. */
+ (id)shared;
@end
