#import "faces/objc/sqm-objc/options.h"

@interface SQMHttpRequest (Handle)

- (id)initWithHandle:(struct sqm_http_request*)handle URL:(NSString*)url body:(NSData*)body;

/* The request that was made for the handle and has not ended. */
+ (SQMHttpRequest*)requestWithHandle:(struct sqm_http_request*)handle;
@end
