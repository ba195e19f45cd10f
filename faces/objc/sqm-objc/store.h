/* The store: the records that were made and not uploaded yet. The manager has one of its own. */
#import <Foundation/Foundation.h>

/* One list of texts for each kind of record, in memory and in files in the SQM folder below the home directory. A new
 * store holds what the files do; `SaveSQMStoreToDisk` and the end of the store write them. It never makes the folder:
 * see `-[SQMHost makeFolders]`. */
@interface SQMRecordStore : NSObject {
 @private
  struct sqm_objc_store* _body;
}

- (id)init;

/* Appends a record to the list of its kind (SQM_RECORD_...); nil and a number that is none are ignored. Always NO. */
- (BOOL)saveSQMRecordType:(int64_t)type withData:(NSString*)data;
- (BOOL)saveSQMClientRecordToStore:(NSString*)data;
- (BOOL)saveSQMConnRecordToStore:(NSString*)data;
- (BOOL)saveSQMDeviceRecordToStore:(NSString*)data;
- (BOOL)saveSQMApplicationRecordToStore:(NSString*)data;
- (BOOL)saveSQMUserAcceptanceRecordToStore:(NSString*)data;

/* Empty one list in memory; its file changes at the next save. Always YES. */
- (BOOL)deleteSQMClientRecordFromStore;
- (BOOL)deleteSQMConnectionRecordsFromStore;
- (BOOL)deleteSQMDeviceRecordFromStore;
- (BOOL)deleteSQMApplicationRecordFromStore;
- (BOOL)deleteSQMUserAcceptanceRecordFromStore;

/* Writes every list to its file. The result is that of the user acceptances, which are written last. */
- (BOOL)SaveSQMStoreToDisk;

/* Appends the files' records to the lists. A file that is missing, or is no list, is ignored. */
- (void)LoadFromDisk;

/* The documents that are posted. nil for an empty list, but for the connections, which then have an empty document. */
- (NSString*)getClientRecordXMLAsString;
- (NSString*)getConnectionRecordXMLAsString;
- (NSString*)getDeviceRecordXMLAsString;
- (NSString*)getApplicationRecordXMLAsString;
- (NSString*)getUserAcceptanceRecordXMLAsString;

/* The SQM folder. */
- (NSString*)getSQMDirectoryPath;

/* The records of all lists. */
- (NSUInteger)storedRecords;

/* The name of a kind of record, "connection"; the file of its list; the element around the records of its document.
 * NSInvalidArgumentException for a number that is none. Any thread. */
+ (NSString*)nameOfRecordType:(int32_t)type;
+ (NSString*)fileOfRecordType:(int32_t)type;
+ (NSString*)elementOfRecordType:(int32_t)type;
@end
