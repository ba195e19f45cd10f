/* Session files, the queue, diagnostics, no memory. */
#import "tests/faces/objc/ObjcTests.h"

static NSString* newFolder(void) {
  NSString* const folder =
      [[NSString stringWithUTF8String:objc_test_home()] stringByAppendingPathComponent:@"sessions"];
  EXPECT([[NSFileManager defaultManager] createDirectoryAtPath:folder
                                   withIntermediateDirectories:YES
                                                    attributes:nil
                                                         error:NULL]);
  return folder;
}

static void runDue(SQMHost* host) {
  while ([host runPending] > 0) continue;
}

OBJC_TEST(ObjcCollector, WritesItsArgumentsToTheirPositions) {
  TestHost([[[TestApplication alloc] init] autorelease]);
  SQMDataCollector* const collector = [[[SQMDataCollector alloc] init] autorelease];
  [collector setSQMDirPath:newFolder()];
  [collector collectDataOnCreation:@"a"
                              lang:@"b"
                          username:@"c"
                      fullUserName:@"d"
                         profileID:@"e"
                         installId:@"f"
                        sqmCounter:@"g"];
  [collector collectDataonPreConnect:@"h"
                             forSSID:@"i"
                     accessProcedure:@"j"
                             popType:@"home"
                        wiFiSecurity:@"k"
                            phoneVer:@"l"
                        pbUpdateDate:@"m"];
  [collector setConnectStartTime];
  [collector setLoginStartTime];
  [collector setLoginEndTime];
  [collector collectDataPostConnect:@"n"
                         devicetype:@"o"
                   clientMacAddress:@"p"
                       apMacAddress:@"q"
                     signalstrength:@"r"
                           clientIP:@"s"
                           serverIP:@"t"];
  [collector setErrorCode:-7];
  [collector setAutoConnect:1];
  [collector collectDataOnDisconnect:4294967295U
                    finalSigStrength:-61
                            phoneVer:@"u"
                        pbUpdateDate:@"v"
                             rxBytes:10
                             txBytes:20];
  NSString* const expected[] = {@"c", [collector getOSVersion], @"Barrim.exe 4.70", @"", @"n", @"o"};
  for (int64_t position = 0; position < 6; ++position) {
    EXPECT_EQUAL([collector valueForField:position], expected[position]);
  }
  EXPECT_EQUAL([collector valueForField:14], @"0");
  EXPECT_EQUAL([collector valueForField:18], @"-7");
  EXPECT_EQUAL([collector valueForField:24], @"2");
  EXPECT_EQUAL([collector valueForField:33], @"4294967295");
  EXPECT_EQUAL([collector valueForField:40], @"i");
  EXPECT_EQUAL([collector valueForField:66], @"-61");
  EXPECT_EQUAL([collector valueForField:70], @"20");
  EXPECT_EQUAL([collector valueForField:71], @"10");
  EXPECT_EQUAL([collector valueForField:75], @"u");
  EXPECT_EQUAL([collector valueForField:85], @"1");
  [collector setTxandRxBytes:nil RxBytes:@"3"];
  EXPECT_EQUAL([collector valueForField:70], @"(null)");
  EXPECT_RAISES(NSInvalidArgumentException, [collector collectDataPostConnect:nil
                                                                   devicetype:nil
                                                             clientMacAddress:nil
                                                                 apMacAddress:nil
                                                               signalstrength:nil
                                                                     clientIP:nil
                                                                     serverIP:nil]);
  [collector saveRecord];
  SQMStore* const store = [[[SQMStore alloc] init] autorelease];
  [store setSQMDirPath:newFolder()];
  EXPECT([[store getDataFromSQMRec] hasPrefix:@"\"c\",\""]);
}

OBJC_TEST(ObjcSessionRecord, IsARowOfTexts) {
  TestHost(nil);
  SQMRecord* const record = [[[SQMRecord alloc] init] autorelease];
  [record setIntValueForField:3 value:-100];
  [record setStringValueForField:90 value:@"outside"];
  EXPECT_EQUAL([record valueForField:3], @"-100");
  EXPECT_EQUAL([record valueForField:90], @"outside");
  EXPECT([record valueForField:91] == nil);
  EXPECT_RAISES(NSInvalidArgumentException, [record setStringValueForField:3 value:nil]);
  EXPECT([record recordType] == 0);
  EXPECT_EQUAL([record recordName], @"client");
  [record setRecordType:4];
  EXPECT_EQUAL([record recordName], @"connectionQuality");
  [record clear];
  EXPECT_EQUAL([record valueForField:3], @"");
  EXPECT([record recordType] == 4);
  EXPECT(![record saveRec]);
  [record setSQMDir:newFolder()];
  EXPECT([[record getSQMFileName] hasPrefix:[newFolder() stringByAppendingString:@"/0Q"]]);
  EXPECT([record saveRec]);
}

OBJC_TEST(ObjcSessionFolder, IsReadAndEmptied) {
  TestHost(nil);
  SQMStore* const store = [[[SQMStore alloc] init] autorelease];
  EXPECT([store SQMDirPath] == nil);
  EXPECT_EQUAL([store getDataFromSQMRec], @"");
  [store setSQMDirPath:newFolder()];
  EXPECT_EQUAL([store SQMDirPath], newFolder());
  [@"line\n" writeToFile:[newFolder() stringByAppendingPathComponent:@"0Q1.SQM"]
              atomically:NO
                encoding:NSUTF8StringEncoding
                   error:NULL];
  EXPECT_EQUAL([store getDataFromSQMRec], @"line\n");
  [store deleteSQMRecord];
  EXPECT_EQUAL([store getDataFromSQMRec], @"");
}

OBJC_TEST(ObjcUploader, PostsAFolderUntilItIsEmpty) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  SQMHost* const host = TestHost(application);
  SQMUploader* const uploader = [[[SQMUploader alloc] init] autorelease];
  TestObserver* const observer = [[[TestObserver alloc] initWithName:nil sender:uploader] autorelease];
  [uploader setSQMUploadUrl:@"http://server/sqm"];
  [uploader setSQMDirPath:newFolder()];
  EXPECT_EQUAL([uploader sqmUploadUrl], @"http://server/sqm");
  EXPECT_EQUAL([uploader SQMDirPath], newFolder());
  EXPECT([uploader getActivityStatus] == 0);
  [uploader startSend];
  EXPECT([uploader getActivityStatus] == 2);
  [[application->requests lastObject] endWithStatus:404 body:nil headers:nil retryAfter:0];
  runDue(host);
  EXPECT([uploader getActivityStatus] == 3);
  [uploader startSend];
  [uploader abortSend];
  runDue(host);
  EXPECT([uploader getActivityStatus] == 2);
  [uploader startSend];
  [[application->requests lastObject] endWithStatus:200 body:nil headers:nil retryAfter:0];
  runDue(host);
  EXPECT([uploader getActivityStatus] == 4);
  [uploader httpStatus:[NSNotification notificationWithName:@"TrelkHttpTransactionErrorNotification" object:nil]];
  EXPECT([uploader getActivityStatus] == 3);
  EXPECT_EQUAL(observer->names,
               ([NSArray arrayWithObjects:TrelkSQMUploadError, TrelkSQMUploadComplete, TrelkSQMUploadError, nil]));
}

OBJC_TEST(ObjcUploader, CanBeReleasedByAnObserver) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  SQMHost* const host = TestHost(application);
  SQMUploader* const uploader = [[SQMUploader alloc] init];
  [uploader startSend];
  [[NSNotificationCenter defaultCenter] addObserver:uploader
                                           selector:@selector(release)
                                               name:TrelkSQMUploadError
                                             object:uploader];
  [[application->requests lastObject] endWithStatus:500 body:nil headers:nil retryAfter:0];
  runDue(host);
  [[NSNotificationCenter defaultCenter] removeObserver:uploader];
  EXPECT([host requestsUnderWay] == 0);
}

OBJC_TEST(ObjcQueue, PostsItsRequestsInOrder) {
  TestApplication* const application = [[[TestApplication alloc] init] autorelease];
  SQMHost* const host = TestHost(application);
  QFRecordUploader* const queue = [QFRecordUploader sharedQFRecordUploader];
  EXPECT([QFRecordUploader allocWithZone:NULL] == nil);
  EXPECT([queue logfile] == nil);
  [queue setLogfile:[host logFile:@"Queue.log" level:2]];
  EXPECT([queue quequeRecord:@"one" serverDetails:@"http://server/1"]);
  EXPECT([queue quequeRecord:@"two" serverDetails:@"http://server/2"]);
  EXPECT(![queue quequeRecord:nil serverDetails:@"http://server/"]);
  EXPECT(![queue quequeRecord:@"three" serverDetails:nil]);
  EXPECT([[queue recordQueue] count] == 2);
  EXPECT_EQUAL(
      [[queue recordQueue] objectAtIndex:0],
      ([NSDictionary dictionaryWithObjectsAndKeys:@"one", @"uploadData", @"http://server/1", @"uploadURL", nil]));
  EXPECT([queue currentURLRequest] == nil);
  EXPECT([queue isIdle]);
  [queue uploadRecord];
  EXPECT([queue uploadInProgress] && ![queue isIdle]);
  EXPECT_EQUAL([queue currentURLRequest], [[queue recordQueue] objectAtIndex:0]);
  [[application->requests lastObject] endWithStatus:200 body:nil headers:nil retryAfter:0];
  runDue(host);
  EXPECT([application->requests count] == 2);
  EXPECT([[queue recordQueue] count] == 1);
  [[application->requests lastObject] endWithStatus:503 body:nil headers:nil retryAfter:0];
  runDue(host);
  EXPECT([queue isIdle]);
  [queue httpStatus:[NSNotification notificationWithName:@"another" object:nil]];
  EXPECT([[queue recordQueue] count] == 1);
  EXPECT_EQUAL([application->logged objectAtIndex:0],
               @"Queue.log USER 2 QFRecordUploader :: quequeRecord- saved URL:http://server/1 post Data:one");
  [queue setLogfile:nil];

  [queue setUploadInProgress:NO];
  EXPECT(![queue uploadInProgress]);
  [queue setCurrentURLRequest:nil];
  EXPECT([queue currentURLRequest] == nil);
  [queue setCurrentURLRequest:[NSDictionary dictionary]];
  EXPECT_EQUAL([queue currentURLRequest], [NSDictionary dictionary]);
  [queue setRecordQueue:[NSMutableArray array]];
  EXPECT([[queue recordQueue] count] == 0);
  [queue setRecordQueue:nil];
  EXPECT([queue recordQueue] == nil);
}

OBJC_TEST(ObjcQueue, IsChangedByItsArray) {
  TestHost(nil);
  QFRecordUploader* const queue = [QFRecordUploader sharedQFRecordUploader];
  [queue quequeRecord:@"one" serverDetails:@"http://server/"];
  [queue quequeRecord:@"two" serverDetails:@"http://server/"];
  NSMutableArray* const requests = [queue recordQueue];
  EXPECT([queue recordQueue] == requests);
  NSArray* const both = [NSArray arrayWithArray:requests];
  EXPECT([both count] == 2);
  [requests removeObjectAtIndex:0];
  [requests addObject:[both objectAtIndex:0]];
  EXPECT_EQUAL([requests valueForKey:@"uploadData"], ([NSArray arrayWithObjects:@"two", @"one", nil]));
  [requests insertObject:[both objectAtIndex:1] atIndex:2];
  [requests replaceObjectAtIndex:0 withObject:[both objectAtIndex:0]];
  EXPECT_EQUAL([requests valueForKey:@"uploadData"], ([NSArray arrayWithObjects:@"one", @"one", @"two", nil]));
  [requests removeLastObject];
  [queue quequeRecord:@"three" serverDetails:@"http://server/"];
  EXPECT_EQUAL([[requests lastObject] objectForKey:@"uploadData"], @"three");
  EXPECT_RAISES(NSRangeException, [requests objectAtIndex:3]);
  EXPECT_RAISES(NSRangeException, [requests removeObjectAtIndex:3]);
  EXPECT_RAISES(NSRangeException, [requests insertObject:[both lastObject] atIndex:4]);
  [requests removeAllObjects];
  EXPECT_RAISES(NSRangeException, [requests removeLastObject]);
  [queue uploadRecord];
  EXPECT([queue isIdle]);

  [queue setRecordQueue:[NSMutableArray arrayWithArray:both]];
  EXPECT_EQUAL([queue recordQueue], both);
  [queue setRecordQueue:nil];
  [requests addObject:[both lastObject]];
  EXPECT([requests count] == 0 && [queue recordQueue] == nil);
}

OBJC_TEST(ObjcQueue, IsEncodedAndDecoded) {
  TestHost(nil);
  NSMutableData* const archive = [NSMutableData data];
  NSKeyedArchiver* const archiver = [[[NSKeyedArchiver alloc] initForWritingWithMutableData:archive] autorelease];
  NSDictionary* const request =
      [NSDictionary dictionaryWithObjectsAndKeys:@"data", @"uploadData", @"http://server/", @"uploadURL", nil];
  [archiver encodeObject:[NSArray arrayWithObject:request] forKey:kQFRecordData];
  [archiver finishEncoding];
  NSKeyedUnarchiver* const unarchiver = [[[NSKeyedUnarchiver alloc] initForReadingWithData:archive] autorelease];
  QFRecordUploader* const queue = [[QFRecordUploader alloc] initWithCoder:unarchiver];
  EXPECT(queue != nil && [QFRecordUploader sharedQFRecordUploader] == queue);
  EXPECT_EQUAL([queue recordQueue], [NSArray arrayWithObject:request]);
  [queue uploadRecord];
  EXPECT([queue isIdle]);
  [queue httpStatus:[NSNotification notificationWithName:@"another" object:nil]];

  NSMutableData* const again = [NSMutableData data];
  NSKeyedArchiver* const encoder = [[[NSKeyedArchiver alloc] initForWritingWithMutableData:again] autorelease];
  [queue encodeWithCoder:encoder];
  [encoder finishEncoding];
  NSKeyedUnarchiver* const decoder = [[[NSKeyedUnarchiver alloc] initForReadingWithData:again] autorelease];
  EXPECT_EQUAL([decoder decodeObjectForKey:@"QFRecordData"], [NSArray arrayWithObject:request]);
  EXPECT([queue initWithCoder:decoder] == nil);
}

OBJC_TEST(ObjcQueue, IsMadeByTheFirstAllocation) {
  TestHost(nil);
  QFRecordUploader* const queue = [[QFRecordUploader alloc] init];
  EXPECT(queue != nil && [QFRecordUploader sharedQFRecordUploader] == queue);
  [queue release];
  EXPECT([queue retainCount] == NSUIntegerMax);
  EXPECT([[queue recordQueue] count] == 0);
}

OBJC_TEST(ObjcDiagnostics, KeepWhatIsSet) {
  TestHost(nil);
  SQMDiagnosticsRecord* const record = [[[SQMDiagnosticsRecord alloc] init] autorelease];
#define EXPECT_PROPERTY(get, set) \
  EXPECT([record get] == nil);    \
  [record set:@"" #get];          \
  EXPECT_EQUAL([record get], @"" #get);
  EXPECT_PROPERTY(ssid, setSsid)
  EXPECT_PROPERTY(sigStrength, setSigStrength)
  EXPECT_PROPERTY(security, setSecurity)
  EXPECT_PROPERTY(apmac, setApmac)
  EXPECT_PROPERTY(nic, setNic)
  EXPECT_PROPERTY(ravixUrl, setRavixUrl)
  EXPECT_PROPERTY(ravixUagent, setRavixUagent)
  EXPECT_PROPERTY(ravixResp, setRavixResp)
  EXPECT_PROPERTY(ravixHttpStatusCode, setRavixHttpStatusCode)
  EXPECT_PROPERTY(authProtocol, setAuthProtocol)
  EXPECT_PROPERTY(dirID, setDirID)
  EXPECT_PROPERTY(authUagent, setAuthUagent)
  EXPECT_PROPERTY(loginURL, setLoginURL)
  EXPECT_PROPERTY(errorCode, setErrorCode)
  EXPECT_PROPERTY(errorDetails, setErrorDetails)
  record.ssid = nil;
  EXPECT(record.ssid == nil);
  [record resetRavixDiagnosticsRecord];
  EXPECT_EQUAL([record ravixUrl], @"");
  EXPECT_EQUAL([record ravixUagent], @"ravixUagent");
  [record resetDiagnosticsRecord];
  EXPECT_EQUAL([record errorCode], @"");
  EXPECT_EQUAL([record security], @"security");
}

OBJC_TEST(ObjcDiagnostics, WriteTheirArraysAsJson) {
  TestHost(nil);
  SQMDiagnosticsRecord* const record = [[[SQMDiagnosticsRecord alloc] init] autorelease];
  EXPECT_EQUAL([record formatDiscoveryDetails], @"");
  NSMutableArray* const details = [record discoveryDetails];
  [details addObject:@"Portal \"found\""];
  [details addObject:[NSDictionary dictionaryWithObjectsAndKeys:@"1", @"b", @"2", @"a", nil]];
  [details addObject:[NSArray arrayWithObjects:[NSNumber numberWithInt:-3], [NSNumber numberWithBool:YES],
                                               [NSNumber numberWithBool:NO], [NSNull null], nil]];
  EXPECT_EQUAL([record formatDiscoveryDetails],
               @"[\"Portal \\\"found\\\"\",{\"a\":\"2\",\"b\":\"1\"},[-3,true,false,null]]");
  [record setLoginPollDetails:[NSMutableArray arrayWithObject:@"poll"]];
  EXPECT_EQUAL([record formatLoginPollDetails], @"[\"poll\"]");
  EXPECT_EQUAL([record loginPollDetails], [NSArray arrayWithObject:@"poll"]);
  [record resetDiagnosticsRecord];
  EXPECT([record discoveryDetails] == details && [details count] == 0);
  EXPECT_EQUAL([record formatLoginPollDetails], @"");
  [record setDiscoveryDetails:nil];
  EXPECT([record discoveryDetails] == nil);
  EXPECT_EQUAL([record formatDiscoveryDetails], @"");
}

/* A report, as its receiver reads it. */
static NSString* decoded(NSString* report) {
  NSString* const file = [[NSString stringWithUTF8String:objc_test_home()] stringByAppendingPathComponent:@"report"];
  EXPECT([report writeToFile:file atomically:NO encoding:NSUTF8StringEncoding error:NULL]);
  FILE* const pipe = popen([[NSString stringWithFormat:@"base64 -d '%@' | gunzip", file] UTF8String], "r");
  char text[4096];
  const size_t length = fread(text, 1, sizeof text, pipe);
  EXPECT(pclose(pipe) == 0);
  return [[[NSString alloc] initWithBytes:text length:length encoding:NSUTF8StringEncoding] autorelease];
}

OBJC_TEST(ObjcDiagnostics, EndBeforeAnArrayWithAValueThatJsonDoesNotHave) {
  TestHost(nil);
  SQMDiagnosticsRecord* const record = [[[SQMDiagnosticsRecord alloc] init] autorelease];
  NSNumber* const one = [NSNumber numberWithInt:1];
  id const values[] = {[NSDate date],
                       [NSNumber numberWithDouble:NAN],
                       [NSNumber numberWithDouble:INFINITY],
                       [NSDictionary dictionaryWithObject:@"value" forKey:one],
                       [NSDictionary dictionaryWithObject:[NSData data] forKey:@"key"],
                       [NSArray arrayWithObject:[NSSet set]]};
  [[record loginPollDetails] addObject:@"poll"];
  for (size_t at = 0; at < sizeof values / sizeof *values; ++at) {
    [record setDiscoveryDetails:[NSMutableArray arrayWithObjects:@"found", values[at], nil]];
    EXPECT([record formatDiscoveryDetails] == nil);
    EXPECT([decoded([record formattedDiagnosticJsonBlob]) hasSuffix:@",\"Auth\":{\"P\":\"\",\"Dir\":\"\"}}}"]);
  }
  [record setLoginPollDetails:[record discoveryDetails]];
  [record setDiscoveryDetails:nil];
  EXPECT([record formatLoginPollDetails] == nil);
  EXPECT([decoded([record formattedDiagnosticJsonBlob])
      hasSuffix:@",\"Auth\":{\"P\":\"\",\"Dir\":\"\",\"Dis\":\"\",\"Login\":\"\"}}}"]);
}

OBJC_TEST(ObjcDiagnostics, EndBeforeAnArrayThatIsNestedTooDeep) {
  TestHost(nil);
  SQMDiagnosticsRecord* const record = [[[SQMDiagnosticsRecord alloc] init] autorelease];
  NSMutableArray* const details = [record discoveryDetails];
  NSMutableDictionary* const entry = [NSMutableDictionary dictionary];
  [details setArray:[NSArray arrayWithObjects:details, details, nil]];
  EXPECT([record formatDiscoveryDetails] == nil);
  EXPECT([decoded([record formattedDiagnosticJsonBlob]) hasSuffix:@",\"Auth\":{\"P\":\"\",\"Dir\":\"\"}}}"]);
  [details setArray:[NSArray arrayWithObject:entry]];
  [entry setObject:details forKey:@"details"];
  EXPECT([record formatDiscoveryDetails] == nil);

  [details removeAllObjects];
  for (int nesting = 2; nesting <= 512; ++nesting) {
    [details setArray:[NSArray arrayWithObject:[NSArray arrayWithArray:details]]];
  }
  EXPECT([[record formatDiscoveryDetails] length] == 2 * 512);
  [details setArray:[NSArray arrayWithObject:[NSArray arrayWithArray:details]]];
  EXPECT([record formatDiscoveryDetails] == nil);
}

OBJC_TEST(ObjcDiagnostics, AreReported) {
  TestHost(nil);
  SQMDiagnosticsRecord* const record = [SQMDiagnosticsRecord sharedSQMDiagnosticsRecord];
  EXPECT([SQMDiagnosticsRecord sharedSQMDiagnosticsRecord] == record);
  EXPECT([[[SQMDiagnosticsRecord alloc] init] autorelease] != record);
  [record validate];
  EXPECT_EQUAL([record ssid], @"");
  EXPECT([record security] == nil);
  NSString* const report = [record formattedDiagnosticJsonBlob];
  EXPECT([report length] > 0 && [report length] <= 4000);
  [[record discoveryDetails] addObject:@"entry"];
  EXPECT(![[record formattedDiagnosticJsonBlob] isEqual:report]);
}

OBJC_TEST(ObjcMemory, IsMissedByAnException) {
  EXPECT_RAISES(NSMallocException, WITHOUT_MEMORY([SQMHost sharedHost]));
  EXPECT_RAISES(NSMallocException, WITHOUT_MEMORY([SQMApplicationRecHelper sharedSQMApplicationRecHelper]));
  TestHost(nil);
  EXPECT_RAISES(NSMallocException, WITHOUT_MEMORY([[SQMSessionParams alloc] init]));
  EXPECT_RAISES(NSMallocException, WITHOUT_MEMORY([[SQMDeviceRecord alloc] init]));
  EXPECT_RAISES(NSMallocException, WITHOUT_MEMORY([[SQMDataCollector alloc] init]));
  QFRecordUploader* const queue = [QFRecordUploader sharedQFRecordUploader];
  EXPECT_RAISES(NSMallocException, WITHOUT_MEMORY([queue logfile]));
  EXPECT([queue logfile] == nil);
  SQMTableRecord* const record = [[[SQMDeviceRecord alloc] init] autorelease];
  EXPECT_RAISES(NSMallocException, WITHOUT_MEMORY([record updateRecordValues:[record recordValues]]));
  EXPECT([SQMHost sharedHost] != nil && [SQMApplicationRecHelper sharedSQMApplicationRecHelper] != nil);
}
