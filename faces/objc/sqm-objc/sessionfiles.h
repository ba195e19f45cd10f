/* The file-based path: each session is a .sqm file, and the files of a folder are posted as one body. */
#import <Foundation/Foundation.h>

/* A row of 86 texts, written as one line to a file of its own. docs/sqm-files.md describes the positions. One thread at
 * a time. */
@interface SQMRecord : NSObject {
 @protected
  struct sqm_objc_session* _body;
}

/* A row of empty texts. */
- (id)init;

/* Empties the row. Keeps the folder, the type of the record and the version of the operating system. */
- (void)clear;

/* Any position can be set; those outside 0 to 85 are never written. nil raises NSInvalidArgumentException. */
- (void)setIntValueForField:(int64_t)field value:(int64_t)value;
- (void)setStringValueForField:(int64_t)field value:(NSString*)value;

/* The text at a position; nil for one outside 0 to 85 that was not set. */
- (NSString*)valueForField:(int64_t)field;

/* The folder of the files, which the application makes. */
- (void)setSQMDir:(NSString*)folder;

/* The path of a file that is written now: it is named after this second. */
- (NSString*)getSQMFileName;

/* Writes the row to a new file. NO when it cannot be opened; a later error is not detected. */
- (BOOL)saveRec;

/* "client", "connection", "device", "confirmation" and "connectionQuality" for the types 0 to 4; else "". */
- (NSString*)recordName;
- (uint64_t)recordType;
- (void)setRecordType:(uint64_t)type;
@end

/* The record of one connection. Each call writes its arguments to their positions. nil raises
 * NSInvalidArgumentException: the positions before it are changed, those after it are not; docs/sqm-files.md names the
 * exceptions. */
@interface SQMDataCollector : SQMRecord

/* Begins a new record: no other call empties the row. */
- (void)collectDataOnCreation:(NSString*)first
                         lang:(NSString*)lang
                     username:(NSString*)username
                 fullUserName:(NSString*)fullUserName
                    profileID:(NSString*)profileID
                    installId:(NSString*)installId
                   sqmCounter:(NSString*)sqmCounter;

/* `popType` is "trelk", "customer", "home" or "". The access procedure is left out when `first` is "s". */
- (void)collectDataonPreConnect:(NSString*)first
                        forSSID:(NSString*)ssid
                accessProcedure:(NSString*)accessProcedure
                        popType:(NSString*)popType
                   wiFiSecurity:(NSString*)wiFiSecurity
                       phoneVer:(NSString*)phoneVer
                   pbUpdateDate:(NSString*)pbUpdateDate;

- (void)collectDataPostConnect:(NSString*)first
                    devicetype:(NSString*)devicetype
              clientMacAddress:(NSString*)clientMacAddress
                  apMacAddress:(NSString*)apMacAddress
                signalstrength:(NSString*)signalstrength
                      clientIP:(NSString*)clientIP
                      serverIP:(NSString*)serverIP;

- (void)collectDataOnDisconnect:(uint32_t)first
               finalSigStrength:(int64_t)finalSigStrength
                       phoneVer:(NSString*)phoneVer
                   pbUpdateDate:(NSString*)pbUpdateDate
                        rxBytes:(int64_t)rxBytes
                        txBytes:(int64_t)txBytes;

/* Bytes sent, bytes received. nil is written "(null)". */
- (void)setTxandRxBytes:(NSString*)sent RxBytes:(NSString*)received;

/* The start times are written in GMT. A login start also writes the seconds since the connection start; a login end
 * those since the login start. */
- (void)setConnectStartTime;
- (void)setLoginStartTime;
- (void)setLoginEndTime;

- (void)setErrorCode:(int64_t)code;
- (void)setAutoConnect:(int64_t)autoConnect;

/* The version of the operating system. */
- (NSString*)getOSVersion;

/* As `setSQMDir:`; as `saveRec`, without its result. */
- (void)setSQMDirPath:(NSString*)folder;
- (void)saveRecord;
@end

/* The .sqm files of a folder: reads them into one text, and deletes them. What cannot be read or deleted is skipped. */
@interface SQMStore : NSObject {
 @private
  struct sqm_objc_folder* _body;
}

- (id)init;
- (void)setSQMDirPath:(NSString*)folder;
- (NSString*)SQMDirPath;

/* The contents of the files, one after the other; "" when there are none. Never nil. */
- (NSString*)getDataFromSQMRec;

/* Deletes every .sqm file, read or not. */
- (void)deleteSQMRecord;
@end

/* Posts the .sqm files of a folder to one address. After status 200 it deletes them and posts what is there by then,
 * until that is nothing: TrelkSQMUploadComplete. Else TrelkSQMUploadError, and the files stay. An observer may release
 * the uploader. */
@interface SQMUploader : NSObject {
 @private
  struct sqm_objc_uploader* _body;
}

/* nil when the host gives no transaction or no log. */
- (id)init;
- (void)setSQMUploadUrl:(NSString*)url;
- (NSString*)sqmUploadUrl;
- (void)setSQMDirPath:(NSString*)folder;
- (NSString*)SQMDirPath;

/* Posts what the folder holds, also nothing; the run loop does the rest. A second call sends a second body beside the
 * first. */
- (void)startSend;

/* Aborts what is being sent: no notification follows, and the status stays. Else does nothing. */
- (void)abortSend;

/* 0 never started, 1 reading, 2 sending, 3 failed, 4 completed. */
- (int16_t)getActivityStatus;

/* Acts on the outcome of a transaction, by the notification's name. The library calls it. */
- (void)httpStatus:(NSNotification*)notification;
@end
