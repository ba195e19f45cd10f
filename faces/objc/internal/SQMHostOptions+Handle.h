#import "faces/objc/sqm-objc/options.h"

@interface SQMHostOptions (Handle)

/* Options with these, which they own. */
- (id)initWithHandle:(sqm_options*)options;

- (sqm_options*)handle;
@end

namespace sqm::objc {

/// Sets the callbacks and services of the options for which the delegate has a method. The delegate is not retained.
void useDelegate(sqm_options* options, id<SQMHostDelegate> delegate);

}  // namespace sqm::objc
