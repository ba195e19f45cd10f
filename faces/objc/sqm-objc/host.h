/* The host: all services that the library needs. */
#import <Foundation/Foundation.h>

#import "options.h"
#import "queue.h"
#include "sqm-c/delivery.h"
#include "sqm-c/host.h"

/* What an upload of the application's own does, for the schedule and for the end of a host. Called on the host's
 * thread. The methods must not end the host or add uploads. */
@protocol SQMUploadTarget <NSObject>
- (void)startUpload;
@optional
/* YES when the upload has ended. Without it: no request of the host is under way. */
- (BOOL)isUploadIdle;
/* Writes to disk what waits. */
- (void)saveWaiting;
/* How much waits. */
- (NSUInteger)waitingCount;
@end

/* A host with the standard services. It works in the run loop of the thread that makes it, in the default mode:
 * outcomes of uploads arrive while that runs.
 *
 * The objects of the library retain the host that was installed when they were made. */
@interface SQMHost : NSObject {
 @private
  struct sqm_objc_host* _body;
}

/* The host that was installed last. Without one, makes one with the default options and installs it, so that clients
 * that know no hosts work with the classes alone. */
+ (SQMHost*)sharedHost;

- (id)init;

/* nil options: the default ones. */
- (id)initWithHostOptions:(SQMHostOptions*)options;

/* Makes this the host of the objects that are made from now on. It is retained until another one is installed. */
- (void)install;

/* Makes the folders of the application and of the records, where they are missing. NO when one cannot be made. */
- (BOOL)makeFolders;

/* The folder of the application below the home directory. */
- (NSString*)applicationFolder;

/* Whether this host has the lock on the SQM folder: SQM_LOCK_...; -1 without SQM_OPTION_LOCK_WITHIN_MS. */
- (int32_t)folderLock;

/* The time stamp that new records carry, with its quotes; nil removes it. NO when it cannot be kept: it then holds
 * until the process ends. */
- (BOOL)setClientTimeStamp:(NSString*)timeStamp;
- (NSString*)clientTimeStamp;

/* Replaces the rules of the standard filter: dictionaries with the keys "name", "subType", "key" and "value", which may
 * be missing. A rule without "key" disables; see `sqm_filter_rule`. */
- (void)setFilterRules:(NSArray*)rules;

/* A log of this host, for `-[QFRecordUploader setLogfile:]`; nil when it cannot be opened. Lines above the level are
 * left out. The log retains the host. Any thread. */
- (id<SQMLogFile>)logFile:(NSString*)file level:(int)level;

/* Runs tasks until no request is under way and no task waits that could start one, or until the time is over. YES when
 * no request is under way. */
- (BOOL)runUntilIdleWithin:(NSTimeInterval)seconds;

/* Runs the tasks that are due, as the run loop does. Their number. */
- (NSUInteger)runPending;

/* Requests that were started and whose outcome was not reported yet. */
- (NSUInteger)requestsUnderWay;

@end

/* The schedule, the end, the counts and the consent. An upload is that of an SQMManager, of the QFRecordUploader, or an
 * object with SQMUploadTarget; anything else raises NSInvalidArgumentException. */
@interface SQMHost (Uploads)

/* The schedule, with SQM_OPTION_SCHEDULE; without it these raise NSInternalInconsistencyException. Uploads are added
 * before the start, which is called once. The host retains an object with SQMUploadTarget; a manager's upload ends with
 * the manager. */
- (void)addUpload:(id)upload;
- (void)startSchedule;
- (void)stopSchedule;

/* Starts an upload as soon as the smallest pause, and the one that a server has asked for, allow it. */
- (void)uploadNow;

/* For the end of the process, which `shutDownWithin:uploads:waiting:` does whole: the last upload. */
- (void)uploadLast;

/* Call it when the machine is connected to a network. */
- (void)networkChanged;

/* Whether an upload runs, and how many the schedule has started; NO and 0 without a schedule. */
- (BOOL)isUploading;
- (uint64_t)uploads;

/* The end: waits for the upload that runs, uploads once more what then waits, ends what the time cuts off, and saves.
 * The uploads are those of the schedule and then these. NO when an upload was cut off or not started. `waiting`, which
 * may be NULL, gets what each still has, as numbers. Afterwards the standard HTTP service sends nothing more. */
- (BOOL)shutDownWithin:(NSTimeInterval)seconds uploads:(NSArray*)uploads waiting:(NSArray**)waiting;

/* The counts of a list (SQM_RECORD_..., SQM_LIST_QUEUE, SQM_LIST_REFUSED): SQM_COUNTS numbers, at SQM_COUNT_..., taken
 * at one time. All zero without counts. Any thread. */
- (NSArray*)statisticsOfList:(int32_t)list;

/* The name of a reason SQM_DROP_..., "records", "bytes" and so on; NSInvalidArgumentException for a number that is
 * none. */
+ (NSString*)nameOfDropReason:(int32_t)reason;

/* The choice of the user, SQM_CONSENT_..., which applies at once, with SQM_OPTION_CONSENT; without it setting raises
 * NSInternalInconsistencyException, and the choice is -1. NO when it cannot be kept, or something not be removed. */
- (BOOL)setConsent:(int32_t)consent;
- (int32_t)consent;

/* One more folder of .sqm files that are removed when the consent is revoked. */
- (void)addSessionFolder:(NSString*)folder;
@end
