/* What only plain Objective-C can do: GCC's Objective-C++ has no handlers for exceptions of Objective-C. */
#import "faces/objc/internal/Exceptions.h"

void sqm_objc_raise(NSString* name, NSString* reason) {
  @throw [NSException exceptionWithName:name reason:reason userInfo:nil];
}

void sqm_objc_call_out(void (*function)(void* context), void* context) {
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  @try {
    function(context);
  } @catch (id exception) {
    NSLog(@"SQM: the application has raised %@", exception);
  }
  [pool release];
}
