/* Tests in plain Objective-C, which GoogleTest runs: each in a process of its own, with an empty home directory. */
#import <Foundation/Foundation.h>

#import "sqm-objc.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef void (*objc_test_body)(void);

/* By ObjcTests.cpp. */
void objc_test_register(const char* suite, const char* name, const char* file, int line, objc_test_body body);
void objc_test_fail(const char* file, int line, const char* what);
const char* objc_test_home(void);
const char* objc_test_resources(void); /* the folder of SQMFieldNames.plist */
void objc_test_exhaust_memory(void);   /* what C++ allocates from now on fails */
void objc_test_restore_memory(void);

/* By Support.m. */
void objc_test_run(objc_test_body body);
void objc_test_equal(const char* file, int line, id actual, id expected);

#ifdef __cplusplus
}
#endif

#define OBJC_TEST(suite, name)                                               \
  static void suite##_##name(void);                                          \
  __attribute__((constructor)) static void register_##suite##_##name(void) { \
    objc_test_register(#suite, #name, __FILE__, __LINE__, suite##_##name);   \
  }                                                                          \
  static void suite##_##name(void)

#define EXPECT(condition)                                             \
  do {                                                                \
    if (!(condition)) objc_test_fail(__FILE__, __LINE__, #condition); \
  } while (0)

/* Objects, of which both may be nil. */
#define EXPECT_EQUAL(actual, expected) objc_test_equal(__FILE__, __LINE__, actual, expected)

#define EXPECT_RAISES(exception, statement)                 \
  do {                                                      \
    NSString* raised = @"nothing";                          \
    @try {                                                  \
      statement;                                            \
    } @catch (NSException * caught) {                       \
      raised = [caught name];                               \
    }                                                       \
    objc_test_equal(__FILE__, __LINE__, raised, exception); \
  } while (0)

/* A statement for which C++ has no memory. */
#define WITHOUT_MEMORY(statement) \
  @try {                          \
    objc_test_exhaust_memory();   \
    statement;                    \
  } @finally {                    \
    objc_test_restore_memory();   \
  }

/* An application, with every method of a delegate that a host may have. Its HTTP service keeps the requests until the
 * test ends them. */
@interface TestApplication : NSObject <SQMHostDelegate> {
 @public
  NSMutableArray* requests;
  NSMutableArray* aborted;
  NSMutableArray* logged;
  NSString* disabledName;
  NSDictionary* replacement;
}
@end

/* A host in the home directory of the test, with folders, installed. The delegate may be nil. */
SQMHost* TestHost(id delegate);
SQMHostOptions* TestOptions(void);

/* The parameters of a connection event. */
SQMSessionParams* TestEvent(NSString* network);

/* A file below the home directory, as text; nil when there is none. */
NSString* TestFile(NSString* path);

/* Runs the run loop of this thread until the condition holds; fails when it does not within minutes. */
#define RUN_UNTIL(condition)                                                                                           \
  do {                                                                                                                 \
    NSDate* const limit = [NSDate dateWithTimeIntervalSinceNow:240];                                                   \
    while (!(condition) && [limit timeIntervalSinceNow] > 0) {                                                         \
      [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.05]]; \
    }                                                                                                                  \
    EXPECT(condition);                                                                                                 \
  } while (0)

/* Counts notifications and keeps their senders. */
@interface TestObserver : NSObject {
 @public
  NSMutableArray* names;
  NSMutableArray* senders;
}
- (id)initWithName:(NSString*)name sender:(id)sender;
@end
