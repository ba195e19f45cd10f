/* The options of a host, and what the application does for it. docs/hosting.md and docs/delivery.md describe what each
 * option does. The numbers and the structures are those of C. */
#import <Foundation/Foundation.h>

#include "sqm-c/options.h"

/* A request that the application's HTTP service carries out. It is ended once: by one of the three calls, or as a
 * failure when it is freed. The host's thread; the host's classes report the outcome in a later turn of the run loop.
 */
@interface SQMHttpRequest : NSObject {
 @private
  struct sqm_http_request* _request;
  NSString* _url;
  NSData* _body;
}

- (NSString*)URL;
- (NSData*)body;

/* A whole response arrived. The body, the headers (texts by name) and the pause that the server asks for may be nil and
 * 0. */
- (void)endWithStatus:(int32_t)status
                 body:(NSData*)body
              headers:(NSDictionary*)headers
           retryAfter:(NSTimeInterval)retryAfter;

/* There is no whole response. The reason may be nil. */
- (void)failWithReason:(NSString*)reason;
- (void)timeOutWithReason:(NSString*)reason;
@end

/* What an application may do for its host. A method that the delegate has takes the place of a service of the host, or
 * observes it. Methods are called on the host's thread unless a remark says otherwise; the observing ones must not use
 * the library. A service's must not release the last reference to what has called it, such as a manager: post that with
 * `performSelector:withObject:afterDelay:`. An exception that a method raises is logged by NSLog and goes no further.
 * What a pointer leads to is valid until the method returns. */
@protocol SQMHostDelegate <NSObject>
@optional

/* For each file that cannot be read or written; on the thread that met it. */
- (void)sqmFileProblem:(const sqm_file_problem*)problem;

/* For each exchange of the standard HTTP service. */
- (void)sqmHttpExchange:(const sqm_http_exchange*)exchange;

/* Further headers of a request of the standard HTTP service, texts by name; may be nil. */
- (NSDictionary*)sqmHttpHeadersForAddress:(NSString*)address;

/* With the outcome of each exchange. */
- (void)sqmDelivery:(const sqm_delivery*)delivery;

/* After something was dropped: for the queue on the thread of the caller. Only with counts. */
- (void)sqmDrop:(const sqm_drop*)drop;

/* After a refused body was dropped. */
- (void)sqmRefusedDrop:(const sqm_refused_drop*)drop;

/* The HTTP service: posts the request and returns at once. With it, `sqmAbortHttpRequest:` is called for a request for
 * which nobody waits any more; it is still to be ended. */
- (void)sqmSendHttpRequest:(SQMHttpRequest*)request;
- (void)sqmAbortHttpRequest:(SQMHttpRequest*)request;

/* The filter: YES for a record that is not recorded; the values to record in place of these, nil for these. The name
 * and the kind may be nil. Called inside the creating calls. */
- (BOOL)recordingDisabledForRecordName:(NSString*)name subType:(NSString*)subType andSQMValues:(NSDictionary*)values;
- (NSDictionary*)appyFiltersForRecord:(NSString*)name subType:(NSString*)subType values:(NSDictionary*)values;

/* The logs: writes a line of the log `file`, "SQMManager.log"; the category is "USER" or "DEBUG". Any thread. */
- (void)sqmWriteLog:(NSString*)file category:(NSString*)category level:(int32_t)level text:(NSString*)text;

/* The clock. Any thread. */
- (NSDate*)sqmNow;
@end

/* The options of a host. */
@interface SQMHostOptions : NSObject {
 @private
  struct sqm_options* _options;
  id _delegate;
}

/* The default behaviour. SQMFieldNames.plist is looked for in the main bundle, and then beside the executable. */
- (id)init;

/* What a new application should begin with: a journal, atomic saves, only 2xx delivers, limits, and a schedule. */
+ (SQMHostOptions*)recommended;

/* Set SQM_OPTION_... or SQM_TEXT_... . NSInvalidArgumentException, and no change, for an option that is not known and a
 * value that it cannot have. */
- (void)setNumber:(int64_t)value forOption:(int32_t)option;
- (void)setText:(NSString*)value forOption:(int32_t)option;

/* Bounds a list (SQM_RECORD_..., SQM_LIST_QUEUE or SQM_LIST_EACH). A number below 0 is no limit. */
- (void)setLimitOfList:(int32_t)list records:(int64_t)records bytes:(int64_t)bytes ageSeconds:(int64_t)age;

/* Sets the delegate, with the methods that it has now. The options and the hosts that are made with them retain it. A
 * second one raises NSInvalidArgumentException. */
- (void)setDelegate:(id)delegate;
@end
