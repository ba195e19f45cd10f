/* The manager: events become records, which are kept and uploaded. */
#import <Foundation/Foundation.h>

#import "records.h"
#import "upload.h"

/* The values of one event. Value N becomes field N of the event's record. One thread at a time. */
@interface SQMSessionParams : NSObject {
 @private
  struct sqm_objc_params* _body;
}

- (id)init;

/* Store a value; nil removes it. 0, or 3 and no change for a key outside 1 to 91. */
- (int64_t)setStringValue:(NSString*)value forKey:(int64_t)key;
- (int64_t)setIntValue:(int64_t)value forKey:(int64_t)key;

/* The value; "" where nothing is stored and for a key outside 0 to 90. Never nil. */
- (NSString*)valueForKey:(int64_t)key;

/* Removes every value. Always YES. */
- (BOOL)clearRecord;
@end

/* The library's entry: makes a record of each event, keeps the records, and uploads them, one kind after another.
 *
 * A new manager holds the records that earlier runs saved. `saveToDisk` and the end of the manager save its records. */
@interface SQMManager : NSObject {
 @private
  struct sqm_objc_manager* _body;
}

- (id)init;

/* The addresses to which the documents are posted. They are not checked here; with nil the upload fails. */
- (void)SetSQMConnectionURL:(NSString*)url;
- (void)SetSQMClientURL:(NSString*)url;
- (void)SetSQMDeviceURL:(NSString*)url;
- (void)SetSQMApplicationURL:(NSString*)url;
- (void)SetSQMUserAcceptanceURL:(NSString*)url;

/* The medium of the following connections: 1 Wi-Fi, 2 mobile broadband, 3 Ethernet. With any other number connections
 * are not recorded. */
- (void)setDeviceType:(int64_t)deviceType;
- (int64_t)deviceType;

/* "WiFi", "mobile" or "Ethernet"; "" for any other number. */
- (NSString*)mediaType:(int32_t)type;

/* Record the start or the end of a connection attempt. Always NO. Without parameters they do nothing. */
- (BOOL)sqmCreateStartRecord:(SQMSessionParams*)params;
- (BOOL)sqmCreateStopRecord:(SQMSessionParams*)params;

/* Record device details, client details, or the user's answer to a prompt. Always YES. A device or user-acceptance
 * event without parameters raises NSInvalidArgumentException. */
- (BOOL)sqmCreateDeviceRecord:(SQMSessionParams*)params;
- (BOOL)sqmCreateClientRecord:(SQMSessionParams*)params;
- (BOOL)sqmCreateUserAcceptanceRecord:(SQMSessionParams*)params;

/* Record the start or the end of a VPN session. The start always gives YES; the end, when a record was stored. */
- (BOOL)sqmCreateApplicationStartRecord:(SQMSessionParams*)params;
- (BOOL)sqmCreateApplicationStopRecord:(SQMSessionParams*)params;

/* The record of the VPN session that was started last; nil before the first. Any thread. */
@property(retain) SQMApplicationRecord* sqmAppLicationRecord;

/* Writes the records to disk. */
- (void)saveToDisk;

/* Starts to post the records, kind by kind; the run loop does the rest. Each document that was posted, and each that
 * was not, is TrelkSQMUploadSuccess or TrelkSQMUploadFailure of the manager's agent. */
- (void)uploadSQM;

/* Continues or ends the upload after a post. The library calls it. */
- (void)httpStatus:(NSNotification*)notification;

/* The agent that posts the documents, and so the sender of the notifications; nil when the host has none. It ends with
 * the manager: its calls then do nothing. */
- (SQMUpdaterAgent*)uploadAgent;

/* The kind of record (SQM_RECORD_...) whose document is in flight, or was last; -1 before the first upload. */
- (int32_t)uploadState;
@end
