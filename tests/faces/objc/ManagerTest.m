/* The manager, its store and its agent. */
#import "tests/faces/objc/ObjcTests.h"

static NSString* const kFolder = @"Library/Application Support/Trelk/Trelk Quenfa/SQM";

static SQMManager* newManager(void) {
  SQMManager* const manager = [[[SQMManager alloc] init] autorelease];
  [manager SetSQMConnectionURL:@"http://server/connection"];
  [manager SetSQMClientURL:@"http://server/client"];
  [manager SetSQMDeviceURL:@"http://server/device"];
  [manager SetSQMApplicationURL:@"http://server/application"];
  [manager SetSQMUserAcceptanceURL:@"http://server/userAcceptance"];
  [manager setDeviceType:1];
  return manager;
}

static BOOL holds(NSString* text, NSString* part) { return [text rangeOfString:part].location != NSNotFound; }

static NSString* bodyOf(SQMHttpRequest* request) {
  return [[[NSString alloc] initWithData:[request body] encoding:NSUTF8StringEncoding] autorelease];
}

/* Ends the newest request with this status, and runs what then is to be done. */
static void answer(TestApplication* application, SQMHost* host, int32_t status) {
  [[application->requests lastObject] endWithStatus:status body:nil headers:nil retryAfter:0];
  while ([host runPending] > 0) continue;
}

OBJC_TEST(ObjcParams, HoldWhatWasStored) {
  SQMSessionParams* const params = [[[SQMSessionParams alloc] init] autorelease];
  EXPECT([params setStringValue:@"Caf\u00e9" forKey:1] == 0);
  EXPECT([params setIntValue:-5 forKey:10] == 0);
  EXPECT_EQUAL([params valueForKey:1], @"Caf\u00e9");
  EXPECT_EQUAL([params valueForKey:10], @"-5");
  EXPECT([params setStringValue:@"x" forKey:92] == 3);
  EXPECT([params setStringValue:nil forKey:1] == 0);
  EXPECT_EQUAL([params valueForKey:1], @"");
  EXPECT_EQUAL([params valueForKey:-1], @"");
  EXPECT([params clearRecord]);
  EXPECT_EQUAL([params valueForKey:10], @"");
}

OBJC_TEST(ObjcParams, KeepNulsAndReplaceUnpairedSurrogates) {
  SQMSessionParams* const params = [[[SQMSessionParams alloc] init] autorelease];
  const unichar withNul[] = {'a', 0, 'b'};
  [params setStringValue:[NSString stringWithCharacters:withNul length:3] forKey:1];
  EXPECT_EQUAL([params valueForKey:1], [NSString stringWithCharacters:withNul length:3]);
  const unichar pairs[] = {'a', 0xe9, 0x20ac, 0xd83d, 0xde00, 0xd83d, 0xde00, 'b'};
  NSString* const text = [NSString stringWithCharacters:pairs length:8];
  [params setStringValue:[text substringToIndex:6] forKey:2];
  EXPECT_EQUAL([params valueForKey:2], @"aé€😀\ufffd");
  [params setStringValue:[text substringFromIndex:6] forKey:3];
  EXPECT_EQUAL([params valueForKey:3], @"\ufffdb");
}

OBJC_TEST(ObjcManager, RecordsEveryKindOfEvent) {
  SQMHost* const host = TestHost(nil);
  EXPECT([host setClientTimeStamp:@"\"1234567890\""]);
  EXPECT_EQUAL([host clientTimeStamp], @"\"1234567890\"");
  SQMManager* const manager = newManager();
  SQMSessionParams* const event = TestEvent(@"Caf\u00e9 & Bar");
  EXPECT([manager sqmAppLicationRecord] == nil);
  EXPECT(![manager sqmCreateStartRecord:event]);
  EXPECT(![manager sqmCreateStopRecord:event]);
  EXPECT([manager sqmCreateDeviceRecord:event]);
  EXPECT([manager sqmCreateClientRecord:event]);
  EXPECT([manager sqmCreateApplicationStartRecord:event]);
  EXPECT([manager sqmCreateApplicationStopRecord:event]);
  EXPECT([manager sqmCreateUserAcceptanceRecord:event]);
  [manager saveToDisk];

  SQMRecordStore* const store = [[[SQMRecordStore alloc] init] autorelease];
  EXPECT([store storedRecords] == 7);
  EXPECT(holds([store getConnectionRecordXMLAsString], @"timestamp=\"1234567890\""));
  EXPECT(holds([store getConnectionRecordXMLAsString], @"<ssid>Caf\u00e9 &amp; Bar</ssid>"));
  EXPECT(holds([store getClientRecordXMLAsString], @"<clientList><client>"));
  EXPECT(holds([store getDeviceRecordXMLAsString], @"<deviceList>"));
  EXPECT(holds([store getApplicationRecordXMLAsString], @"<sqmList><vpn>"));
  EXPECT_EQUAL([store getUserAcceptanceRecordXMLAsString],
               @"<?xml version=\"1.0\" encoding=\"utf-8\"?><userAcceptanceList></userAcceptanceList>");
}

OBJC_TEST(ObjcManager, TakesNoParametersAsTheLibraryDoes) {
  TestHost(nil);
  SQMManager* const manager = newManager();
  EXPECT(![manager sqmCreateStartRecord:nil]);
  EXPECT([manager sqmCreateApplicationStartRecord:nil]);
  EXPECT(![manager sqmCreateApplicationStopRecord:nil]);
  EXPECT_RAISES(NSInvalidArgumentException, [manager sqmCreateDeviceRecord:nil]);
  EXPECT_RAISES(NSInvalidArgumentException, [manager sqmCreateUserAcceptanceRecord:nil]);
}

OBJC_TEST(ObjcManager, NamesTheMedium) {
  TestHost(nil);
  SQMManager* const manager = newManager();
  EXPECT([manager deviceType] == 1);
  EXPECT_EQUAL([manager mediaType:2], @"mobile");
  EXPECT_EQUAL([manager mediaType:4], @"");
}

OBJC_TEST(ObjcManager, KeepsTheRecordOfTheVpnSession) {
  TestHost(nil);
  SQMManager* const manager = newManager();
  [manager sqmCreateApplicationStartRecord:TestEvent(@"net")];
  SQMApplicationRecord* const record = [manager sqmAppLicationRecord];
  EXPECT_EQUAL([record recordName], @"application");
  EXPECT([manager sqmAppLicationRecord] == record);
  [manager sqmCreateApplicationStartRecord:TestEvent(@"net")];
  EXPECT([manager sqmAppLicationRecord] != record);

  SQMApplicationRecord* const own = [[[SQMApplicationRecord alloc] init] autorelease];
  [manager setSqmAppLicationRecord:own];
  EXPECT([manager sqmAppLicationRecord] == own);
  EXPECT([manager sqmCreateApplicationStopRecord:TestEvent(@"net")]);
  EXPECT([[own FormatCommonSessionFields] length] > 0);
  [manager setSqmAppLicationRecord:nil];
  EXPECT([manager sqmAppLicationRecord] == nil);
}

OBJC_TEST(ObjcManager, UploadsListByListAndNotifies) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  SQMHost* const host = TestHost(application);
  SQMManager* const manager = newManager();
  TestObserver* const any = [[[TestObserver alloc] initWithName:TrelkSQMUploadSuccess sender:nil] autorelease];
  TestObserver* const other = [[[TestObserver alloc] initWithName:TrelkSQMUploadSuccess sender:manager] autorelease];
  TestObserver* const own = [[[TestObserver alloc] initWithName:TrelkSQMUploadSuccess
                                                         sender:[manager uploadAgent]] autorelease];
  TestObserver* const failures = [[[TestObserver alloc] initWithName:TrelkSQMUploadFailure sender:nil] autorelease];
  EXPECT([manager uploadState] == -1);
  [manager sqmCreateStartRecord:TestEvent(@"net")];
  [manager sqmCreateDeviceRecord:TestEvent(@"net")];
  [manager uploadSQM];
  EXPECT([host requestsUnderWay] == 1);
  EXPECT([[manager uploadAgent] uploadStatus] == 1);
  EXPECT([manager uploadState] == SQM_RECORD_CONNECTION);
  EXPECT_EQUAL([[application->requests lastObject] URL], @"http://server/connection");
  EXPECT(holds(bodyOf([application->requests lastObject]), @"<ssid>net</ssid>"));
  answer(application, host, 500);
  EXPECT([application->requests count] == 2);
  EXPECT(holds(bodyOf([application->requests lastObject]), @"<deviceList>"));
  [[application->requests lastObject] failWithReason:@"no network"];
  while ([host runPending] > 0) continue;

  EXPECT_EQUAL(any->names, [NSArray arrayWithObject:TrelkSQMUploadSuccess]);
  EXPECT_EQUAL(any->senders, [NSArray arrayWithObject:[manager uploadAgent]]);
  EXPECT([own->names count] == 1);
  EXPECT([other->names count] == 0);
  EXPECT_EQUAL(failures->names, [NSArray arrayWithObject:TrelkSQMUploadFailure]);
  EXPECT([manager uploadState] == SQM_RECORD_DEVICE);
}

OBJC_TEST(ObjcManager, ContinuesWhenItIsNotified) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  TestHost(application);
  SQMManager* const manager = newManager();
  [manager sqmCreateDeviceRecord:TestEvent(@"net")];
  [manager uploadSQM];
  [manager httpStatus:[NSNotification notificationWithName:@"another" object:nil]];
  EXPECT([application->requests count] == 1);
  [manager httpStatus:[NSNotification notificationWithName:TrelkSQMUploadSuccess object:nil]];
  EXPECT([application->requests count] == 2);
}

OBJC_TEST(ObjcManager, CanBeReleasedByAnObserver) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  SQMHost* const host = TestHost(application);
  NSAutoreleasePool* const pool = [[NSAutoreleasePool alloc] init];
  SQMManager* const manager = [newManager() retain];
  [pool release];
  SQMUpdaterAgent* const agent = [[manager uploadAgent] retain];
  [manager uploadSQM];
  [[NSNotificationCenter defaultCenter] addObserver:manager
                                           selector:@selector(release)
                                               name:TrelkSQMUploadSuccess
                                             object:nil];
  answer(application, host, 200);
  EXPECT([application->requests count] == 1);
  EXPECT_EQUAL([[TestFile([kFolder stringByAppendingPathComponent:@"SQMConnection.plist"])
                   componentsSeparatedByString:@"<array/>"] lastObject],
               @"\n</plist>\n");
  [agent abortSend];
  [agent startUploadToURL:@"http://server/" withData:@"text"];
  EXPECT([agent uploadStatus] == 0);
  EXPECT([application->requests count] == 1);
  [[NSNotificationCenter defaultCenter] removeObserver:manager];
  [agent release];
}

OBJC_TEST(ObjcAgent, PostsOneDocument) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  SQMHost* const host = TestHost(application);
  SQMUpdaterAgent* const agent = [[[SQMUpdaterAgent alloc] init] autorelease];
  TestObserver* const observer = [[[TestObserver alloc] initWithName:nil sender:agent] autorelease];
  EXPECT([agent sqmUploadUrl] == nil);
  [agent setSQMUploadUrl:@"http://kept/"];
  EXPECT_EQUAL([agent sqmUploadUrl], @"http://kept/");
  [agent startUploadToURL:@"http://server/" withData:nil];
  EXPECT([agent uploadStatus] == 0);
  [agent startUploadToURL:@"http://server/" withData:@"document"];
  EXPECT([agent uploadStatus] == 1);
  EXPECT_EQUAL(bodyOf([application->requests lastObject]), @"document");
  answer(application, host, 404);
  EXPECT([agent uploadStatus] == 2);
  [agent startUploadToURL:@"http://server/" withData:@"document"];
  [agent abortSend];
  while ([host runPending] > 0) continue;
  EXPECT_EQUAL(application->aborted, [NSArray arrayWithObject:[application->requests lastObject]]);
  [[application->requests lastObject] timeOutWithReason:nil];
  EXPECT([agent uploadStatus] == 1);
  [agent httpStatus:[NSNotification notificationWithName:@"TrelkHttpTransactionTimeOutNotification" object:nil]];
  EXPECT([agent uploadStatus] == 0);
  EXPECT_EQUAL(observer->names, ([NSArray arrayWithObjects:TrelkSQMUploadSuccess, TrelkSQMUploadFailure, nil]));
  EXPECT_RAISES(NSInvalidArgumentException, [[application->requests lastObject] failWithReason:@"again"]);
}

OBJC_TEST(ObjcStore, KeepsAListOfEachKind) {
  TestHost(nil);
  SQMRecordStore* const store = [[[SQMRecordStore alloc] init] autorelease];
  EXPECT([[store getSQMDirectoryPath] hasSuffix:kFolder]);
  EXPECT(![store saveSQMRecordType:5 withData:@"<x/>"]);
  EXPECT(![store saveSQMRecordType:0 withData:nil]);
  EXPECT([store storedRecords] == 0);
  EXPECT(![store saveSQMRecordType:0 withData:@"<a/>"]);
  EXPECT(![store saveSQMClientRecordToStore:@"<b/>"]);
  EXPECT(![store saveSQMConnRecordToStore:@"<c/>"]);
  EXPECT(![store saveSQMDeviceRecordToStore:@"<d/>"]);
  EXPECT(![store saveSQMApplicationRecordToStore:@"<e/>"]);
  EXPECT(![store saveSQMUserAcceptanceRecordToStore:@"<f/>"]);
  EXPECT_EQUAL([store getClientRecordXMLAsString],
               @"<?xml version=\"1.0\" encoding=\"utf-8\"?><clientList><a/><b/></clientList>");
  EXPECT([store SaveSQMStoreToDisk]);
  EXPECT(holds(TestFile([kFolder stringByAppendingPathComponent:@"SQMApplication.plist"]), @"&lt;e/&gt;"));
  [store LoadFromDisk];
  EXPECT([store storedRecords] == 12);
  EXPECT([store deleteSQMClientRecordFromStore]);
  EXPECT([store deleteSQMConnectionRecordsFromStore]);
  EXPECT([store deleteSQMDeviceRecordFromStore]);
  EXPECT([store deleteSQMApplicationRecordFromStore]);
  EXPECT([store deleteSQMUserAcceptanceRecordFromStore]);
  EXPECT([store getClientRecordXMLAsString] == nil);
  EXPECT([store getDeviceRecordXMLAsString] == nil);
  EXPECT([store getApplicationRecordXMLAsString] == nil);
  EXPECT([store getUserAcceptanceRecordXMLAsString] == nil);
  EXPECT(holds([store getConnectionRecordXMLAsString], @"<connectionList></connectionList>"));
}

OBJC_TEST(ObjcStore, NamesTheKinds) {
  EXPECT_EQUAL([SQMRecordStore nameOfRecordType:SQM_RECORD_CONNECTION], @"connection");
  EXPECT_EQUAL([SQMRecordStore fileOfRecordType:SQM_RECORD_DEVICE], @"SQMDevice.plist");
  EXPECT_EQUAL([SQMRecordStore elementOfRecordType:SQM_RECORD_APPLICATION], @"sqmList");
  EXPECT_RAISES(NSInvalidArgumentException, [SQMRecordStore nameOfRecordType:5]);
}
