/* Records, their values, and the texts for codes. */
#import "tests/faces/objc/ObjcTests.h"

static SQMTableRecord* newRecord(Class type) { return [[[type alloc] init] autorelease]; }

static NSString* formatted(SQMTableRecord* record) {
  NSString* text = @"";
  EXPECT([record FormatRecord:&text] == 0);
  return text;
}

/* The elements of the field-name table of the examples. */
static NSString* fieldName(NSUInteger field) {
  NSString* const table =
      [[NSString stringWithUTF8String:objc_test_resources()] stringByAppendingPathComponent:@"SQMFieldNames.plist"];
  return [[NSArray arrayWithContentsOfFile:table] objectAtIndex:field];
}

static NSString* element(NSUInteger field, NSString* value) {
  return [NSString stringWithFormat:@"<%@>%@</%@>", fieldName(field), value, fieldName(field)];
}

OBJC_TEST(ObjcRecord, FormatsItsFields) {
  TestHost(nil);
  SQMWiFiConnectionRecord* const record = (SQMWiFiConnectionRecord*)newRecord([SQMWiFiConnectionRecord class]);
  EXPECT([record clearRecord]);
  EXPECT([record ValidateRecordData] == 4);
  EXPECT([record SetAttribute:6 withValue:@"now"] == 0);
  EXPECT([record ValidateRecordData] == 0);
  EXPECT([record SetAttributeAfterXMLCompatibleFormat:13 withValue:@"<&>"] == 0);
  EXPECT_EQUAL([record FormatCommonSQMFields], element(13, @"&lt;&amp;&gt;"));
  EXPECT_EQUAL([record FormatWiFiConnectionFields], element(87, @""));
  NSString* const inside = [[record FormatCommonSQMFields] stringByAppendingString:[record FormatWiFiConnectionFields]];
  EXPECT([formatted(record) rangeOfString:element(10, inside)].location != NSNotFound);
  EXPECT_EQUAL([record recordName], @"connection");
  EXPECT_EQUAL([record recordSubType], fieldName(10));
}

OBJC_TEST(ObjcRecord, IsFormattedByItsMedium) {
  TestHost(nil);
  SQMMBConnectionRecord* const mobile = (SQMMBConnectionRecord*)newRecord([SQMMBConnectionRecord class]);
  [mobile SetAttribute:6 withValue:@"now"];
  EXPECT_EQUAL([mobile FormatMBConnectionFields], [element(46, @"") stringByAppendingString:element(50, @"")]);
  EXPECT_EQUAL([mobile recordSubType], @"mobiledata");
  SQMEthernetConnectionRecord* const wired =
      (SQMEthernetConnectionRecord*)newRecord([SQMEthernetConnectionRecord class]);
  [wired SetAttribute:73 withValue:@"en0"];
  EXPECT_EQUAL([wired FormatEthernetConnectionFields], element(73, @"en0"));
  SQMDeviceRecord* const device = (SQMDeviceRecord*)newRecord([SQMDeviceRecord class]);
  [device SetAttribute:6 withValue:@"now"];
  EXPECT_EQUAL(formatted(device), element(63, [device FormatMobileDeviceFields]));
}

OBJC_TEST(ObjcRecord, OfAnApplicationIsThreeParts) {
  TestHost(nil);
  SQMApplicationRecord* const record = (SQMApplicationRecord*)newRecord([SQMApplicationRecord class]);
  [record SetAttribute:6 withValue:@"now"];
  NSString* const inside =
      [NSString stringWithFormat:@"%@%@<gateway></gateway>", [record FormatCommonApplicationFields],
                                 [record FormatCommonSessionFields]];
  EXPECT([[record FormatCommonSessionFields] hasPrefix:element(13, @"")]);
  EXPECT_EQUAL([record FormatVPNApplicationTypeData], ([NSString stringWithFormat:@"<vpn>%@</vpn>", inside]));
  EXPECT_EQUAL(formatted(record), [record FormatVPNApplicationTypeData]);
}

OBJC_TEST(ObjcRecord, OfTheClientRemovesAbsentValues) {
  TestHost(nil);
  SQMClientRecord* const record = (SQMClientRecord*)newRecord([SQMClientRecord class]);
  EXPECT([record SetAttribute:8 withValue:@"x"] == 3);
  EXPECT([record SetAttribute:0 withValue:@""] == 0);
  EXPECT([record setValue:nil forKey:@"os"] == 3);
  EXPECT([record setValue:@"A & B" forKey:@"os"] == 0);
  EXPECT_EQUAL([record constructEnvironmentInformation], @"<os>A &amp; B</os>");
  EXPECT([record clearRecord]);
  EXPECT([record SetAttribute:0 withValue:nil] == 0);
  EXPECT_EQUAL([record constructEnvironmentInformation], @"");
  EXPECT([record recordSubType] == nil);
}

OBJC_TEST(ObjcRecord, RaisesWhatTheLibraryRejects) {
  TestHost(nil);
  SQMTableRecord* const record = newRecord([SQMDeviceRecord class]);
  EXPECT_RAISES(NSInvalidArgumentException, [record SetAttribute:6 withValue:nil]);
  EXPECT_RAISES(NSInvalidArgumentException, [record SetAttributeAfterXMLCompatibleFormat:6 withValue:nil]);
  EXPECT_RAISES(NSRangeException, [record SetAttribute:-1 withValue:@"x"]);
  EXPECT([record SetAttribute:91 withValue:@"x"] == 0);
  EXPECT([newRecord([SQMDeviceRecord class]) ValidateRecordData] == 3);
  EXPECT([[SQMTableRecord alloc] init] == nil);
}

OBJC_TEST(ObjcRecord, ReplacesOnlyATextInTheSlot) {
  TestHost(nil);
  SQMTableRecord* const record = newRecord([SQMDeviceRecord class]);
  NSString* slot = nil;
  EXPECT([record FormatRecord:&slot] == 3);
  EXPECT(slot == nil);
  EXPECT([record FormatRecord:NULL] == 3);
  slot = @"before";
  EXPECT([record FormatRecord:&slot] == 3);
  EXPECT_EQUAL(slot, @"");
  slot = @"before";
  EXPECT([newRecord([SQMConnectionRecord class]) FormatRecord:&slot] == 0);
  EXPECT_EQUAL(slot, @"before");
}

OBJC_TEST(ObjcRecord, SharesItsValues) {
  TestHost(nil);
  SQMUserAcceptanceRecord* const record = (SQMUserAcceptanceRecord*)newRecord([SQMUserAcceptanceRecord class]);
  [record SetAttribute:88 withValue:@"yes"];
  NSMutableDictionary* const values = [record recordValues];
  EXPECT([values isKindOfClass:[NSMutableDictionary class]]);
  EXPECT([record recordValues] == values);
  EXPECT_EQUAL(values, [NSDictionary dictionaryWithObject:@"yes" forKey:fieldName(88)]);
  [values setObject:@"any" forKey:@"6"];
  EXPECT([values count] == 2);
  EXPECT([formatted(record) rangeOfString:element(88, @"yes")].location != NSNotFound);
  [values removeObjectForKey:fieldName(88)];
  EXPECT([values objectForKey:fieldName(88)] == nil);
  EXPECT([formatted(record) rangeOfString:element(88, @"")].location != NSNotFound);
  EXPECT_RAISES(NSInvalidArgumentException, [values setObject:nil forKey:@"6"]);
  EXPECT_RAISES(NSInvalidArgumentException, [values removeObjectForKey:nil]);

  [record updateRecordValues:[NSDictionary dictionaryWithObject:@"no" forKey:fieldName(89)]];
  EXPECT_EQUAL([[record recordValues] allKeys], [NSArray arrayWithObject:fieldName(89)]);
  [record updateRecordValues:nil];
  EXPECT([[record recordValues] count] == 0);
}

OBJC_TEST(ObjcRecord, LeavesItsValuesToWhoeverRetainsThem) {
  TestHost(nil);
  NSAutoreleasePool* const pool = [[NSAutoreleasePool alloc] init];
  SQMTableRecord* const record = [[SQMDeviceRecord alloc] init];
  [record SetAttribute:6 withValue:@"now"];
  NSMutableDictionary* const values = [[record recordValues] retain];
  [record release];
  [pool release];
  EXPECT_EQUAL([values objectForKey:fieldName(6)], @"now");
  [values release];
}

OBJC_TEST(ObjcRecord, HasNoValuesWithoutAFieldNameTable) {
  SQMHostOptions* const options = TestOptions();
  [options setText:[NSString stringWithUTF8String:objc_test_home()] forOption:SQM_TEXT_RESOURCE_DIRECTORY];
  [[[[SQMHost alloc] initWithHostOptions:options] autorelease] install];
  SQMTableRecord* const record = newRecord([SQMApplicationRecord class]);
  EXPECT([record recordValues] == nil);
  EXPECT(![record clearRecord]);
  EXPECT([record ValidateRecordData] == 0);
}

OBJC_TEST(ObjcCodes, HaveATextForEveryCode) {
  SQMApplicationRecHelper* const codes = [SQMApplicationRecHelper sharedSQMApplicationRecHelper];
  EXPECT_EQUAL([codes launchType:0], @"autolaunch");
  EXPECT_EQUAL([codes connectionStatusCode:7], @"Internal VPN Error");
  EXPECT_EQUAL([codes connectionResult:-1], @"unknown");
  EXPECT_EQUAL([codes vpnDisconnectReasonCode:2], @"Disconnected By Policy");
  SQMUserAcceptRecHelper* const prompts = [SQMUserAcceptRecHelper sharedSQMUserAcceptRecHelper];
  EXPECT_EQUAL([prompts alertMessageType:0], @"roaming");
  EXPECT_EQUAL([prompts alertMessageType:2], @"Unknown");
}

OBJC_TEST(ObjcSharedObject, ExistsOnce) {
  SQMApplicationRecHelper* const codes = [[SQMApplicationRecHelper alloc] init];
  EXPECT(codes != nil);
  EXPECT([SQMApplicationRecHelper sharedSQMApplicationRecHelper] == codes);
  EXPECT([SQMApplicationRecHelper allocWithZone:NULL] == nil);
  EXPECT([SQMApplicationRecHelper alloc] == nil);
  EXPECT((id)[SQMUserAcceptRecHelper sharedSQMUserAcceptRecHelper] != codes);
  EXPECT([codes copyWithZone:NULL] == codes);
  EXPECT([codes copy] == codes);
  EXPECT([codes retain] == codes);
  EXPECT([codes autorelease] == codes);
  [codes release];
  [codes release];
  EXPECT([codes retainCount] == NSUIntegerMax);
  EXPECT_EQUAL([codes launchType:1], @"connectondemand");
}

OBJC_TEST(ObjcClientHelper, KnowsTheEnvironment) {
  TestHost(nil);
  SQMClientHelper* const helper = [[[SQMClientHelper alloc] init] autorelease];
  EXPECT([helper getOSName] == nil);
  EXPECT([[helper getOSVersion] length] > 0);
  EXPECT_EQUAL([helper getOSName], [helper osName]);
  NSString* const environment =
      [NSString stringWithFormat:@"<locale>%@</locale><os>%@</os><osVersion>%@</osVersion>", [helper getCurrentLocale],
                                 [helper osName], [helper getOSVersion]];
  EXPECT_EQUAL([helper getEnvironmentInfoAsXMLString], environment);
  EXPECT([[helper getProductInfoAsXMLString] hasPrefix:@"<product><id>"]);
}

OBJC_TEST(ObjcVariables, AreZeroAndCanBeWritten) {
  EXPECT(NsqmRecType == 0 && NSSQMFields == 0 && NSSqmError == 0);
  NsqmRecType = NSSQMFields = NSSqmError = 7;
  EXPECT(NsqmRecType + NSSQMFields + NSSqmError == 21);
}
