/* SQM from Objective-C: one import for everything. Needs Foundation, by Apple or by GNUstep, and libsqm-objc.
 *
 * docs/objc.md describes the rules that hold for every class. In short:
 *
 * Hosts: an object uses the host that is installed when it is made (`+[SQMHost sharedHost]`), and retains it.
 * Ownership: by retain counts, without automatic counting. A text that is given is copied.
 * Threads: the host's thread, which is the one that made it, unless a remark says otherwise.
 * Failure: an argument that the library rejects raises NSInvalidArgumentException, a field number beyond a short
 * field-name table NSRangeException, and no memory NSMallocException. nil is an absent value. */
#import "sqm-objc/codes.h"
#import "sqm-objc/diagnostics.h"
#import "sqm-objc/host.h"
#import "sqm-objc/manager.h"
#import "sqm-objc/options.h"
#import "sqm-objc/queue.h"
#import "sqm-objc/records.h"
#import "sqm-objc/sessionfiles.h"
#import "sqm-objc/store.h"
#import "sqm-objc/upload.h"
