#import "tests/faces/objc/ObjcTests.h"

void objc_test_run(objc_test_body body) {
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  @try {
    body();
  } @catch (NSException* exception) {
    objc_test_fail(__FILE__, __LINE__, [[exception description] UTF8String]);
  }
  [pool release];
}

void objc_test_equal(const char* file, int line, id actual, id expected) {
  if (actual == expected || [actual isEqual:expected]) return;
  NSString* const what = [NSString stringWithFormat:@"actual: %@\nexpected: %@", actual, expected];
  objc_test_fail(file, line, [what UTF8String]);
}

SQMHostOptions* TestOptions(void) {
  SQMHostOptions* const options = [[[SQMHostOptions alloc] init] autorelease];
  [options setText:[NSString stringWithUTF8String:objc_test_home()] forOption:SQM_TEXT_HOME_DIRECTORY];
  [options setText:[NSString stringWithUTF8String:objc_test_resources()] forOption:SQM_TEXT_RESOURCE_DIRECTORY];
  return options;
}

SQMHost* TestHost(id delegate) {
  SQMHostOptions* const options = TestOptions();
  [options setDelegate:delegate];
  SQMHost* const host = [[[SQMHost alloc] initWithHostOptions:options] autorelease];
  EXPECT([host makeFolders]);
  [host install];
  return host;
}

SQMSessionParams* TestEvent(NSString* network) {
  SQMSessionParams* const params = [[[SQMSessionParams alloc] init] autorelease];
  EXPECT([params setStringValue:@"2026-11-21T09:30:00Z" forKey:6] == 0);
  EXPECT([params setStringValue:network forKey:26] == 0);
  return params;
}

NSString* TestFile(NSString* path) {
  NSString* const whole = [[NSString stringWithUTF8String:objc_test_home()] stringByAppendingPathComponent:path];
  return [NSString stringWithContentsOfFile:whole encoding:NSUTF8StringEncoding error:NULL];
}

@implementation TestApplication

- (id)init {
  self = [super init];
  requests = [[NSMutableArray alloc] init];
  aborted = [[NSMutableArray alloc] init];
  logged = [[NSMutableArray alloc] init];
  return self;
}

- (void)dealloc {
  [requests release];
  [aborted release];
  [logged release];
  [super dealloc];
}

- (void)sqmSendHttpRequest:(SQMHttpRequest*)request {
  [requests addObject:request];
}

- (void)sqmAbortHttpRequest:(SQMHttpRequest*)request {
  [aborted addObject:request];
}

- (BOOL)recordingDisabledForRecordName:(NSString*)name subType:(NSString*)subType andSQMValues:(NSDictionary*)values {
  (void)subType;
  (void)values;
  return disabledName != nil && [disabledName isEqual:name];
}

- (NSDictionary*)appyFiltersForRecord:(NSString*)name subType:(NSString*)subType values:(NSDictionary*)values {
  (void)name;
  (void)subType;
  if (replacement == nil) return nil;
  NSMutableDictionary* const changed = [[values mutableCopy] autorelease];
  [changed addEntriesFromDictionary:replacement];
  return changed;
}

- (void)sqmWriteLog:(NSString*)file category:(NSString*)category level:(int32_t)level text:(NSString*)text {
  [logged addObject:[NSString stringWithFormat:@"%@ %@ %d %@", file, category, level, text]];
}

- (NSDate*)sqmNow {
  return [NSDate dateWithTimeIntervalSince1970:1763975258];
}

@end

@implementation TestObserver

- (id)initWithName:(NSString*)name sender:(id)sender {
  self = [super init];
  names = [[NSMutableArray alloc] init];
  senders = [[NSMutableArray alloc] init];
  [[NSNotificationCenter defaultCenter] addObserver:self selector:@selector(posted:) name:name object:sender];
  return self;
}

- (void)dealloc {
  [[NSNotificationCenter defaultCenter] removeObserver:self];
  [names release];
  [senders release];
  [super dealloc];
}

- (void)posted:(NSNotification*)notification {
  [names addObject:[notification name]];
  [senders addObject:[notification object]];
}

@end
