#include <memory>

#include "sqm/upload/SQMUpdaterAgent.h"

#include "faces/objc/internal/Bridge.h"
#import "faces/objc/sqm-objc/upload.h"

@interface SQMUpdaterAgent (Borrowed)

/* The agent of a manager. */
- (id)initWithAgent:(const std::shared_ptr<sqm::SQMUpdaterAgent>&)agent ofHost:(const sqm::objc::KeptHost&)host;

/* The end of the manager: lets go of the agent. */
- (void)end;
@end
