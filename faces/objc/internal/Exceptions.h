#import <Foundation/Foundation.h>

#ifdef __cplusplus
extern "C" {
#endif

void sqm_objc_raise(NSString* name, NSString* reason) __attribute__((noreturn));

/* Calls code of the application. An exception of Objective-C is logged: it must not pass the frames of C++ below. */
void sqm_objc_call_out(void (*function)(void* context), void* context);

#ifdef __cplusplus
}
#endif
