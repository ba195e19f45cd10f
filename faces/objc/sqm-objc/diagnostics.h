/* The report on a failed connection attempt. docs/diagnostics.md describes it. */
#import <Foundation/Foundation.h>

/* The details of the current connection attempt, which the client sets as it proceeds. A text is nil until it is set.
 * One thread at a time. */
@interface SQMDiagnosticsRecord : NSObject {
 @private
  struct sqm_objc_diagnostics* _body;
}

/* The process's record, made by the first call and never freed. Any thread. */
+ (SQMDiagnosticsRecord*)sharedSQMDiagnosticsRecord;

/* A record of its own, with empty arrays. */
- (id)init;

@property(nonatomic, retain) NSString* ssid;
@property(nonatomic, retain) NSString* sigStrength;
@property(nonatomic, retain) NSString* security; /* not reported */
@property(nonatomic, retain) NSString* apmac;
@property(nonatomic, retain) NSString* nic;
@property(nonatomic, retain) NSString* ravixUrl;
@property(nonatomic, retain) NSString* ravixUagent;
@property(nonatomic, retain) NSString* ravixResp;
@property(nonatomic, retain) NSString* ravixHttpStatusCode;
@property(nonatomic, retain) NSString* authProtocol;
@property(nonatomic, retain) NSString* dirID;
@property(nonatomic, retain) NSString* authUagent; /* not reported */
@property(nonatomic, retain) NSString* loginURL;
@property(nonatomic, retain) NSString* errorCode;
@property(nonatomic, retain) NSString* errorDetails;

/* The arrays themselves, to which the client appends: strings, numbers, NSNull, and arrays and dictionaries of them. */
@property(nonatomic, retain) NSMutableArray* discoveryDetails;
@property(nonatomic, retain) NSMutableArray* loginPollDetails;

/* An array as JSON text; "" when it is empty or nil. nil when an entry is what JSON does not have, or the array is
 * nested more than 512 deep, as one is that contains itself: `Auth` in the report ends before such an array. */
- (NSString*)formatDiscoveryDetails;
- (NSString*)formatLoginPollDetails;

/* Makes each text that is nil empty, except `security` and `authUagent`. */
- (void)validate;

/* The report: gzip in Base64; "" when it would be longer than 4,000 characters. Calls `validate`. */
- (NSString*)formattedDiagnosticJsonBlob;

/* A new attempt begins: empties its texts and both arrays. Keeps the four of the probe, `security` and `authUagent`. */
- (void)resetDiagnosticsRecord;

/* A new probe begins: empties its address, response and status. */
- (void)resetRavixDiagnosticsRecord;
@end
