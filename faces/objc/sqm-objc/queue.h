/* The process's queue of upload requests, which survives restarts. docs/upload-queue.md describes it. */
#import <Foundation/Foundation.h>

#import "codes.h"

/* The key under which a coder keeps the queue: "QFRecordData". */
extern NSString* const kQFRecordData;

/* Something that takes the lines of a log, as the class of the client's own framework does. */
@protocol SQMLogFile <NSObject>
- (void)writeLogToFileWithInfo:(NSString*)info userLevel:(int)level fmt:(NSString*)format, ... NS_FORMAT_FUNCTION(3, 4);
@end

/* The queue: first in, first out, one request at a time. A request is removed when the server has answered 200; the
 * next one is then sent. Any other outcome stops the queue until the next `uploadRecord`. A request is a dictionary
 * with the keys "uploadURL" and "uploadData".
 *
 * It keeps the host that was installed when it was made. `uploadRecord` and `isIdle` on the host's thread, the others
 * on any. */
@interface QFRecordUploader : SQMSharedObject <NSCoding> {
 @private
  struct sqm_objc_queue* _body;
}

/* The object, made by the first call, with the queue that the archive holds. */
+ (QFRecordUploader*)sharedQFRecordUploader;

- (id)init;

/* With the queue of an archive that `encodeWithCoder:` wrote; nil when the queue exists. It can queue, but not send. */
- (id)initWithCoder:(NSCoder*)coder;

/* Encodes the queue under kQFRecordData, and nothing else. */
- (void)encodeWithCoder:(NSCoder*)coder;

/* Appends a request and writes the archive; sends nothing. NO, and no change, when either is nil or the rules of the
 * host do not allow it. */
- (BOOL)quequeRecord:(NSString*)data serverDetails:(NSString*)url;

/* Sends the oldest request. Call it only while the queue is idle: it does not check. */
- (void)uploadRecord;

/* No request is under way, and none will be sent by itself. */
- (BOOL)isIdle;

/* Acts on the outcome of the transaction. The library calls it. */
- (void)httpStatus:(NSNotification*)notification;

/* The queue: what is changed in this array is changed in the queue, and written with the queue's next change. nil when
 * the archive cannot be read. The setter copies its array. */
@property(retain) NSMutableArray* recordQueue;

/* YES from the sending of a request until an answer 200, also after a failure. */
@property BOOL uploadInProgress;

/* The request that was sent last; nil before. */
@property(retain) NSDictionary* currentURLRequest;

/* The log of the queue, not retained; nil: no lines. `-[SQMHost logFile:level:]` opens one of the host. */
@property(assign) id<SQMLogFile> logfile;
@end
