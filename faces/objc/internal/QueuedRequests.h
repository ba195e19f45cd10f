#import <Foundation/Foundation.h>

#include "sqm/common/UploadRequest.h"

namespace sqm::objc {

NSDictionary* dictionaryOf(const UploadRequest& request);
UploadRequest requestOf(NSDictionary* dictionary);

}  // namespace sqm::objc

/* The requests of the queue, which it shares with the queue. Empty when the queue has none. */
@interface SQMQueuedRequests : NSMutableArray
@end
