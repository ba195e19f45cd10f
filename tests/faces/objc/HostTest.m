/* The host, its options, its delegate, uploads and counts. */
#import "tests/faces/objc/ObjcTests.h"

static void runDue(SQMHost* host) {
  while ([host runPending] > 0) continue;
}

/* An upload of the application's own. */
@interface TestUpload : NSObject <SQMUploadTarget> {
 @public
  int started;
  int saved;
}
@end

@implementation TestUpload
- (void)startUpload {
  ++started;
}
- (BOOL)isUploadIdle {
  return YES;
}
- (void)saveWaiting {
  ++saved;
}
- (NSUInteger)waitingCount {
  return 3;
}
@end

/* Observes. Each method raises what the application must not be ended by. */
@interface TestWatcher : NSObject <SQMHostDelegate> {
 @public
  NSMutableArray* seen;
}
@end

@implementation TestWatcher
- (id)init {
  self = [super init];
  seen = [[NSMutableArray alloc] init];
  return self;
}
- (void)dealloc {
  [seen release];
  [super dealloc];
}
- (void)saw:(NSString*)what {
  @synchronized(self) {
    [seen addObject:what];
  }
  [NSException raise:NSGenericException format:@"%@", what];
}
- (void)sqmFileProblem:(const sqm_file_problem*)problem {
  [self saw:problem->is_write ? @"write problem" : @"read problem"];
}
- (void)sqmHttpExchange:(const sqm_http_exchange*)exchange {
  [self saw:[NSString stringWithFormat:@"exchange %d", exchange->outcome]];
}
- (NSDictionary*)sqmHttpHeadersForAddress:(NSString*)address {
  @synchronized(self) {
    [seen addObject:[@"headers for " stringByAppendingString:[address substringToIndex:4]]];
  }
  return [NSDictionary dictionaryWithObject:@"token" forKey:@"X-Token"];
}
- (void)sqmDelivery:(const sqm_delivery*)delivery {
  [self saw:[NSString stringWithFormat:@"delivery %d", delivery->outcome]];
}
- (void)sqmDrop:(const sqm_drop*)drop {
  [self saw:[NSString stringWithFormat:@"drop %d %d", drop->list, (int)drop->count]];
}
- (void)sqmRefusedDrop:(const sqm_refused_drop*)drop {
  [self saw:[NSString stringWithFormat:@"refused drop %d", drop->reason]];
}
@end

/* Posts nothing, and answers each request with 400. */
@interface TestRefuser : TestWatcher
@end

@implementation TestRefuser
- (void)sqmSendHttpRequest:(SQMHttpRequest*)request {
  [request endWithStatus:400 body:[@"no" dataUsingEncoding:NSUTF8StringEncoding] headers:nil retryAfter:0];
}
@end

/* Drops its requests. */
@interface TestForgetter : NSObject <SQMHostDelegate>
@end

@implementation TestForgetter
- (void)sqmSendHttpRequest:(SQMHttpRequest*)request {
  (void)request;
}
@end

OBJC_TEST(ObjcHost, IsMadeForClientsThatKnowNone) {
  SQMHost* const host = [SQMHost sharedHost];
  EXPECT(host != nil && [SQMHost sharedHost] == host);
  EXPECT([[host applicationFolder] hasSuffix:@"Library/Application Support/Trelk/Trelk Quenfa"]);
  EXPECT_EQUAL([[[[SQMHost alloc] init] autorelease] applicationFolder], [host applicationFolder]);
  SQMHost* const other = TestHost(nil);
  EXPECT([SQMHost sharedHost] == other && other != host);
  EXPECT([host folderLock] == -1);
}

OBJC_TEST(ObjcHost, IsFreedWithTheLastObjectThatUsesIt) {
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  SQMHostOptions* const options = TestOptions();
  [options setNumber:100 forOption:SQM_OPTION_LOCK_WITHIN_MS];
  SQMHost* const first = [[SQMHost alloc] initWithHostOptions:options];
  EXPECT([first folderLock] == SQM_LOCK_OWNED);
  [first install];
  SQMManager* const manager = [[SQMManager alloc] init];
  [first release];
  TestHost(nil);
  [pool release];
  pool = [[NSAutoreleasePool alloc] init];
  EXPECT([[[[SQMHost alloc] initWithHostOptions:options] autorelease] folderLock] == SQM_LOCK_ELSEWHERE);
  [manager release];
  EXPECT([[[[SQMHost alloc] initWithHostOptions:options] autorelease] folderLock] == SQM_LOCK_OWNED);
  [pool release];
}

OBJC_TEST(ObjcHost, WorksInTheRunLoop) {
  SQMHost* const host = TestHost(nil);
  SQMUpdaterAgent* const agent = [[[SQMUpdaterAgent alloc] init] autorelease];
  TestObserver* const observer = [[[TestObserver alloc] initWithName:nil sender:agent] autorelease];
  [agent startUploadToURL:@"no address" withData:@"text"];
  RUN_UNTIL([observer->names count] == 1);
  EXPECT_EQUAL([observer->names lastObject], TrelkSQMUploadFailure);
  [agent startUploadToURL:@"no address" withData:@"text"];
  RUN_UNTIL([observer->names count] == 2);
  [agent startUploadToURL:@"no address" withData:@"text"];
  EXPECT([host runUntilIdleWithin:240]);
  EXPECT([observer->names count] == 3);
}

OBJC_TEST(ObjcHost, RejectsOptionsThatItDoesNotHave) {
  SQMHostOptions* const options = [[[SQMHostOptions alloc] init] autorelease];
  EXPECT_RAISES(NSInvalidArgumentException, [options setNumber:1 forOption:-1]);
  EXPECT_RAISES(NSInvalidArgumentException, [options setNumber:9 forOption:SQM_OPTION_ACCEPT]);
  EXPECT_RAISES(NSInvalidArgumentException, [options setText:nil forOption:SQM_TEXT_PROOF_TEXT]);
  TestWatcher* const watcher = [[[TestWatcher alloc] init] autorelease];
  [options setDelegate:watcher];
  EXPECT_RAISES(NSInvalidArgumentException, [options setDelegate:watcher]);
  EXPECT_RAISES(NSInvalidArgumentException, [options setLimitOfList:7 records:1 bytes:1 ageSeconds:1]);
  SQMHost* const host = TestHost(nil);
  EXPECT_RAISES(NSInternalInconsistencyException, [host startSchedule]);
  EXPECT_RAISES(NSInternalInconsistencyException, [host setConsent:SQM_CONSENT_REVOKED]);
  EXPECT_RAISES(NSInternalInconsistencyException, [host addSessionFolder:@"/"]);
  EXPECT([host consent] == -1);
  EXPECT(![host isUploading] && [host uploads] == 0);
}

/* Has the run loop work until the file of its host's tasks is watched again. */
static void runOnce(void) {
  [[NSRunLoop currentRunLoop] runMode:NSDefaultRunLoopMode beforeDate:[NSDate dateWithTimeIntervalSinceNow:0.05]];
}

OBJC_TEST(ObjcHost, WorksOnAfterATaskThatHasFailed) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  TestHost(application);
  SQMManager* const manager = [[[SQMManager alloc] init] autorelease];
  [manager SetSQMConnectionURL:@"http://server/connection"];
  [manager sqmCreateDeviceRecord:TestEvent(@"net")];
  [manager uploadSQM];
  [[application->requests lastObject] endWithStatus:200 body:nil headers:nil retryAfter:0];
  WITHOUT_MEMORY(runOnce()); /* no document of the devices can be made */
  EXPECT([application->requests count] == 1);
  SQMUpdaterAgent* const agent = [[[SQMUpdaterAgent alloc] init] autorelease];
  TestObserver* const observer = [[[TestObserver alloc] initWithName:nil sender:agent] autorelease];
  [agent startUploadToURL:@"http://server/" withData:@"text"];
  [[application->requests lastObject] endWithStatus:200 body:nil headers:nil retryAfter:0];
  RUN_UNTIL([observer->names count] == 1);
}

OBJC_TEST(ObjcHost, WritesALog) {
  SQMHost* const host = TestHost(nil);
  id<SQMLogFile> const log = [host logFile:@"Client.log" level:2];
  [log writeLogToFileWithInfo:@"USER" userLevel:2 fmt:@"%@ %d", @"count", 7];
  [log writeLogToFileWithInfo:@"USER" userLevel:3 fmt:@"left out"];
  NSString* const written = TestFile(@"Library/Logs/Trelk/Trelk Quenfa/Client.log");
  EXPECT([written hasSuffix:@" USER 2 count 7\n"]);
  EXPECT([host logFile:@"a/b" level:2] == nil);
}

OBJC_TEST(ObjcHost, IsRetainedByItsLogs) {
  NSAutoreleasePool* const pool = [[NSAutoreleasePool alloc] init];
  TestApplication* application = [[TestApplication alloc] init];
  NSMutableArray* const logged = [[application->logged retain] autorelease];
  SQMHostOptions* const options = TestOptions();
  [options setDelegate:application];
  SQMHost* const host = [[SQMHost alloc] initWithHostOptions:options];
  id<SQMLogFile> const log = [[host logFile:@"Client.log" level:2] retain];
  const NSUInteger references = [host retainCount];
  EXPECT(references > 1);
  [host release];
  [application release];
  [log writeLogToFileWithInfo:@"USER" userLevel:2 fmt:@"late"];
  EXPECT_EQUAL([logged lastObject], @"Client.log USER 2 late");
  [log release];
  [pool release];
}

OBJC_TEST(ObjcHost, FiltersByRules) {
  SQMHost* const host = TestHost(nil);
  SQMManager* const manager = [[[SQMManager alloc] init] autorelease];
  SQMRecordStore* store = nil;
  NSDictionary* const disable = [NSDictionary dictionaryWithObject:@"device" forKey:@"name"];
  NSDictionary* const replace =
      [NSDictionary dictionaryWithObjectsAndKeys:@"connection", @"name", @"ssid", @"key", @"hidden", @"value", nil];
  [host setFilterRules:[NSArray arrayWithObjects:disable, replace, nil]];
  [manager setDeviceType:1];
  [manager sqmCreateDeviceRecord:TestEvent(@"net")];
  [manager sqmCreateStartRecord:TestEvent(@"net")];
  [manager saveToDisk];
  store = [[[SQMRecordStore alloc] init] autorelease];
  EXPECT([store storedRecords] == 1);
  EXPECT([[store getConnectionRecordXMLAsString] rangeOfString:@"<ssid>hidden</ssid>"].location != NSNotFound);
  NSDictionary* const broken = [NSDictionary dictionaryWithObject:@"ssid" forKey:@"key"];
  EXPECT_RAISES(NSInvalidArgumentException, [host setFilterRules:[NSArray arrayWithObject:broken]]);
}

OBJC_TEST(ObjcDelegate, ReplacesServices) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  TestHost(application);
  SQMManager* const manager = [[[SQMManager alloc] init] autorelease];
  [manager setDeviceType:1];
  application->disabledName = @"device";
  [manager sqmCreateDeviceRecord:TestEvent(@"net")];
  EXPECT_EQUAL([application->logged lastObject],
               @"SQMManager.log USER 2 Stopped generation of  SQM Device Record as recording disabled \n\t");
  application->replacement = [NSDictionary dictionaryWithObject:@"hidden" forKey:@"ssid"];
  [manager sqmCreateStartRecord:TestEvent(@"net")];
  EXPECT([[application->logged lastObject] rangeOfString:@"<ssid>hidden</ssid>"].location != NSNotFound);
  SQMRecord* const record = [[[SQMRecord alloc] init] autorelease];
  EXPECT([[record getSQMFileName] rangeOfString:@"/0Q2025112"].location != NSNotFound);
}

/* "a" and the first half of a pair: only a part of a string can be such a text. */
static NSString* withUnpairedSurrogate(void) {
  const unichar pair[] = {'a', 0xd83d, 0xde00};
  return [[NSString stringWithCharacters:pair length:3] substringToIndex:2];
}

OBJC_TEST(ObjcDelegate, LeavesTheValuesThatItsFilterDoesNotChange) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  TestHost(application);
  SQMManager* const manager = [[[SQMManager alloc] init] autorelease];
  [manager setDeviceType:1];
  const unichar withNul[] = {'a', 0, 'b'};
  application->replacement = [NSDictionary dictionaryWithObject:@"hidden" forKey:@"profileID"];
  [manager sqmCreateStartRecord:TestEvent([NSString stringWithCharacters:withNul length:3])];
  NSString* const record = [application->logged lastObject];
  EXPECT([record rangeOfString:@"<ssid>a"].location != NSNotFound);
  EXPECT([record rangeOfString:@"<ssid>a</ssid>"].location == NSNotFound);

  application->replacement = [NSDictionary dictionaryWithObject:withUnpairedSurrogate() forKey:@"ssid"];
  [manager sqmCreateStartRecord:TestEvent(@"net")];
  EXPECT([[application->logged lastObject] rangeOfString:@"<ssid>a\ufffd</ssid>"].location != NSNotFound);
}

OBJC_TEST(ObjcHost, ReplacesUnpairedSurrogates) {
  NSString* const unpaired = withUnpairedSurrogate();
  SQMHost* const host = TestHost(nil);
  EXPECT([host setClientTimeStamp:unpaired]);
  EXPECT_EQUAL([host clientTimeStamp], @"a\ufffd");
  SQMManager* const manager = [[[SQMManager alloc] init] autorelease];
  [manager setDeviceType:1];
  NSDictionary* const replace =
      [NSDictionary dictionaryWithObjectsAndKeys:@"connection", @"name", @"ssid", @"key", unpaired, @"value", nil];
  [host setFilterRules:[NSArray arrayWithObject:replace]];
  [manager sqmCreateStartRecord:TestEvent(@"net")];
  [manager saveToDisk];
  SQMRecordStore* const store = [[[SQMRecordStore alloc] init] autorelease];
  EXPECT([[store getConnectionRecordXMLAsString] rangeOfString:@"<ssid>a\ufffd</ssid>"].location != NSNotFound);
}

OBJC_TEST(ObjcDelegate, ObservesAndEndsNothingByAnException) {
  TestWatcher* const watcher = [[[TestWatcher alloc] init] autorelease];
  SQMHostOptions* const options = TestOptions();
  [options setDelegate:watcher];
  [options setNumber:SQM_COUNTING_IN_MEMORY forOption:SQM_OPTION_COUNTING];
  [options setNumber:SQM_ACCEPT_ONLY_2XX forOption:SQM_OPTION_ACCEPT];
  [options setLimitOfList:SQM_RECORD_DEVICE records:1 bytes:-1 ageSeconds:-1];
  SQMHost* const host = [[[SQMHost alloc] initWithHostOptions:options] autorelease];
  [host install];
  SQMManager* const manager = [[[SQMManager alloc] init] autorelease];
  [manager saveToDisk];
  EXPECT([watcher->seen containsObject:@"write problem"]);
  [manager sqmCreateDeviceRecord:TestEvent(@"net")];
  [manager sqmCreateDeviceRecord:TestEvent(@"net")];
  EXPECT([watcher->seen containsObject:@"drop 2 1"]);
  [manager SetSQMConnectionURL:@"http://127.0.0.1:1/"];
  [manager uploadSQM];
  EXPECT([host runUntilIdleWithin:240]);
  EXPECT([watcher->seen containsObject:@"headers for http"]);
  EXPECT([watcher->seen containsObject:@"exchange 1"]);
  EXPECT([watcher->seen containsObject:@"delivery 1"]);

  NSArray* const counts = [host statisticsOfList:SQM_RECORD_DEVICE];
  EXPECT([counts count] == SQM_COUNTS);
  EXPECT_EQUAL([counts objectAtIndex:SQM_COUNT_ACCEPTED], [NSNumber numberWithInt:2]);
  EXPECT_EQUAL([counts objectAtIndex:SQM_COUNT_DROPPED + SQM_DROP_RECORDS], [NSNumber numberWithInt:1]);
  EXPECT_RAISES(NSInvalidArgumentException, [host statisticsOfList:99]);
  EXPECT_EQUAL([SQMHost nameOfDropReason:SQM_DROP_RECORDS], @"records");
  EXPECT_RAISES(NSInvalidArgumentException, [SQMHost nameOfDropReason:99]);
}

OBJC_TEST(ObjcDelegate, SeesWhichRefusedBodiesAreDropped) {
  TestRefuser* const refuser = [[[TestRefuser alloc] init] autorelease];
  SQMHostOptions* const options = TestOptions();
  [options setDelegate:refuser];
  [options setNumber:SQM_ACCEPT_ONLY_2XX forOption:SQM_OPTION_ACCEPT];
  [options setNumber:1 forOption:SQM_OPTION_REFUSED_FILES];
  SQMHost* const host = [[[SQMHost alloc] initWithHostOptions:options] autorelease];
  EXPECT([host makeFolders]);
  [host install];
  SQMUpdaterAgent* const agent = [[[SQMUpdaterAgent alloc] init] autorelease];
  [agent startUploadToURL:@"http://server/" withData:@"one"];
  runDue(host);
  [agent startUploadToURL:@"http://server/" withData:@"two"];
  runDue(host);
  EXPECT([refuser->seen containsObject:@"delivery 2"]);
  EXPECT([refuser->seen containsObject:@"refused drop 0"]);
}

OBJC_TEST(ObjcDelegate, FailsARequestThatItDrops) {
  SQMHost* const host = TestHost([[[TestForgetter alloc] init] autorelease]);
  SQMUpdaterAgent* const agent = [[[SQMUpdaterAgent alloc] init] autorelease];
  TestObserver* const observer = [[[TestObserver alloc] initWithName:nil sender:agent] autorelease];
  [agent startUploadToURL:@"http://server/" withData:@"text"];
  runDue(host);
  EXPECT_EQUAL(observer->names, [NSArray arrayWithObject:TrelkSQMUploadFailure]);
}

OBJC_TEST(ObjcDelegate, EndsARequestWithAWholeResponse) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  SQMHostOptions* const options = TestOptions();
  [options setDelegate:application];
  [options setNumber:SQM_ACCEPT_ONLY_2XX forOption:SQM_OPTION_ACCEPT];
  [options setText:@"X-Proof" forOption:SQM_TEXT_PROOF_HEADER];
  [options setText:@"yes" forOption:SQM_TEXT_PROOF_VALUE];
  [options setText:@"kept" forOption:SQM_TEXT_PROOF_TEXT];
  SQMHost* const host = [[[SQMHost alloc] initWithHostOptions:options] autorelease];
  [host install];
  SQMUpdaterAgent* const agent = [[[SQMUpdaterAgent alloc] init] autorelease];
  TestObserver* const observer = [[[TestObserver alloc] initWithName:nil sender:agent] autorelease];
  [agent startUploadToURL:@"http://server/" withData:@"text"];
  NSDictionary* const headers = [NSDictionary dictionaryWithObject:@"yes" forKey:@"X-Proof"];
  NSData* const body = [@"kept" dataUsingEncoding:NSUTF8StringEncoding];
  [[application->requests lastObject] endWithStatus:200 body:body headers:headers retryAfter:5];
  runDue(host);
  EXPECT_EQUAL(observer->names, [NSArray arrayWithObject:TrelkSQMUploadSuccess]);
  EXPECT_RAISES(NSInvalidArgumentException, [[application->requests lastObject] endWithStatus:200
                                                                                         body:nil
                                                                                      headers:nil
                                                                                   retryAfter:0]);
}

OBJC_TEST(ObjcHost, UploadsByASchedule) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  SQMHostOptions* const options = TestOptions();
  [options setDelegate:application];
  [options setNumber:0 forOption:SQM_OPTION_SCHEDULE_FIRST_UPLOAD_S];
  [options setNumber:0 forOption:SQM_OPTION_SCHEDULE_SMALLEST_PAUSE_S];
  SQMHost* const host = [[[SQMHost alloc] initWithHostOptions:options] autorelease];
  EXPECT([host makeFolders]);
  [host install];
  SQMManager* const manager = [[SQMManager alloc] init];
  [manager SetSQMConnectionURL:@"http://server/connection"];
  TestUpload* const own = [[[TestUpload alloc] init] autorelease];
  [host addUpload:manager];
  [host addUpload:[QFRecordUploader sharedQFRecordUploader]];
  [host addUpload:own];
  EXPECT_RAISES(NSInvalidArgumentException, [host addUpload:@"no upload"]);
  [host startSchedule];
  [host networkChanged];
  [host uploadNow];
  RUN_UNTIL([application->requests count] == 1);
  EXPECT([host isUploading] && [host uploads] == 1);
  [[application->requests lastObject] endWithStatus:200 body:nil headers:nil retryAfter:0];
  RUN_UNTIL(own->started == 1);
  [host uploadLast];
  [manager release];

  NSArray* waiting = nil;
  EXPECT([host shutDownWithin:240 uploads:[NSArray arrayWithObject:own] waiting:&waiting]);
  EXPECT_EQUAL(waiting, ([NSArray arrayWithObjects:[NSNumber numberWithInt:0], [NSNumber numberWithInt:0],
                                                   [NSNumber numberWithInt:3], [NSNumber numberWithInt:3], nil]));
  EXPECT(own->saved > 0);
  [host stopSchedule];
}

OBJC_TEST(ObjcHost, FollowsTheUsersConsent) {
  SQMHostOptions* const options = [SQMHostOptions recommended];
  [options setText:[NSString stringWithUTF8String:objc_test_home()] forOption:SQM_TEXT_HOME_DIRECTORY];
  [options setText:[NSString stringWithUTF8String:objc_test_resources()] forOption:SQM_TEXT_RESOURCE_DIRECTORY];
  [options setNumber:SQM_CONSENT_GRANTED forOption:SQM_OPTION_CONSENT];
  SQMHost* const host = [[[SQMHost alloc] initWithHostOptions:options] autorelease];
  EXPECT([host makeFolders]);
  [host install];
  [host addSessionFolder:[NSString stringWithUTF8String:objc_test_home()]];
  NSString* const session = [[NSString stringWithUTF8String:objc_test_home()] stringByAppendingPathComponent:@"a.sqm"];
  [@"line" writeToFile:session atomically:NO encoding:NSUTF8StringEncoding error:NULL];
  SQMManager* const manager = [[[SQMManager alloc] init] autorelease];
  [manager sqmCreateDeviceRecord:TestEvent(@"net")];
  EXPECT([host setConsent:SQM_CONSENT_REVOKED]);
  EXPECT([host consent] == SQM_CONSENT_REVOKED);
  EXPECT(![[NSFileManager defaultManager] fileExistsAtPath:session]);
  EXPECT_EQUAL([[host statisticsOfList:SQM_RECORD_DEVICE] objectAtIndex:SQM_COUNT_WAITING], [NSNumber numberWithInt:0]);
}

static NSUInteger openFiles(void) {
  return [[[NSFileManager defaultManager] contentsOfDirectoryAtPath:@"/proc/self/fd" error:NULL] count];
}

OBJC_TEST(ObjcHost, LeavesNothingAfterManyRounds) {
  NSUInteger before = 0;
  for (int round = 0; round < 120; ++round) {
    NSAutoreleasePool* const pool = [[NSAutoreleasePool alloc] init];
    TestApplication* const application = [[[TestApplication alloc] init] autorelease];
    SQMHost* const host = TestHost(application);
    SQMManager* const manager = [[[SQMManager alloc] init] autorelease];
    [manager SetSQMConnectionURL:@"http://server/connection"];
    [manager SetSQMDeviceURL:@"http://server/device"];
    [manager sqmCreateDeviceRecord:TestEvent(@"net")];
    [manager uploadSQM];
    [[application->requests lastObject] endWithStatus:200 body:nil headers:nil retryAfter:0];
    RUN_UNTIL([host requestsUnderWay] == 1 && [application->requests count] == 2);
    [[[SQMUploader alloc] init] autorelease];
    [[[SQMDataCollector alloc] init] autorelease];
    [pool release];
    if (round == 20) before = openFiles();
  }
  EXPECT(openFiles() == before);
}
