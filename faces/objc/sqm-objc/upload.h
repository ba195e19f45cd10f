/* The agent that posts one document, and the notifications of uploads. */
#import <Foundation/Foundation.h>

/* Notifications of NSNotificationCenter, on the host's thread, without user info. The object is the sender. */
extern NSString* const TrelkSQMUploadSuccess;  /* of an SQMUpdaterAgent: the document was posted, whatever the status */
extern NSString* const TrelkSQMUploadFailure;  /* of an SQMUpdaterAgent: the post failed or timed out */
extern NSString* const TrelkSQMUploadComplete; /* of an SQMUploader: the folder was sent and holds nothing more */
extern NSString* const TrelkSQMUploadError;    /* of an SQMUploader: a status other than 200, a failure or a time-out */

/* Posts one document to one address, and then posts TrelkSQMUploadSuccess or TrelkSQMUploadFailure. One upload at a
 * time: the caller waits for the outcome. An observer may release the agent. */
@interface SQMUpdaterAgent : NSObject {
 @private
  struct sqm_objc_agent* _body;
}

/* nil when the host gives no transaction or no log. */
- (id)init;

/* An address to read back. Uploads do not use it. */
- (void)setSQMUploadUrl:(NSString*)url;
- (NSString*)sqmUploadUrl;

/* Posts the document; nothing when it is nil. Without an address the post fails. */
- (void)startUploadToURL:(NSString*)url withData:(NSString*)data;

/* Aborts the upload that is being sent: no notification follows. Else does nothing. */
- (void)abortSend;

/* Acts on the outcome of a transaction, by the notification's name. The library calls it. */
- (void)httpStatus:(NSNotification*)notification;

/* 0 before the first upload and after a failure, 1 while sending and after an abort, 2 after a success. */
- (int32_t)uploadStatus;
@end
