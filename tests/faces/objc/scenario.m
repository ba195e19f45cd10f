/* The scenario of scenario.cpp, line by line, from Objective-C. Arguments: home, folder of the table, server. */
#import <sqm-objc.h>
#include <stdio.h>

static void print(const char* what, NSString* value) {
  printf("%s: %s\n", what, value == nil ? "(absent)" : [value UTF8String]);
}

static void printNumber(const char* what, int64_t value) { printf("%s: %lld\n", what, (long long)value); }

/* The clock of the host, and an observer of every outcome. */
@interface Client : NSObject <SQMHostDelegate>
@end

@implementation Client
- (NSDate*)sqmNow {
  return [NSDate dateWithTimeIntervalSince1970:1763975258];
}
- (void)ended:(NSNotification*)notification {
  print("notified", [notification name]);
}
@end

static SQMSessionParams* newEvent(void) {
  SQMSessionParams* event = [[[SQMSessionParams alloc] init] autorelease];
  for (int64_t key = 1; key <= 91; ++key) [event setIntValue:key * 7 - 100 forKey:key];
  [event setStringValue:@"2026-11-21T09:30:00Z" forKey:6];
  [event setStringValue:@"<Café> & \"Bar\" 😀" forKey:26];
  [event setStringValue:@"" forKey:24];
  [event setStringValue:nil forKey:33];
  return event;
}

static void record(SQMManager* manager, SQMSessionParams* event) {
  for (int64_t medium = 0; medium <= 3; ++medium) {
    [manager setDeviceType:medium];
    print("medium", [manager mediaType:(int32_t)medium]);
    printNumber("start", [manager sqmCreateStartRecord:event]);
    printNumber("stop", [manager sqmCreateStopRecord:event]);
  }
  printNumber("device", [manager sqmCreateDeviceRecord:event]);
  printNumber("client", [manager sqmCreateClientRecord:event]);
  printNumber("application start", [manager sqmCreateApplicationStartRecord:event]);
  printNumber("application stop", [manager sqmCreateApplicationStopRecord:event]);
  printNumber("user acceptance", [manager sqmCreateUserAcceptanceRecord:event]);
}

static void collect(NSString* folder) {
  SQMDataCollector* collector = [[[SQMDataCollector alloc] init] autorelease];
  [collector setSQMDirPath:folder];
  [collector collectDataOnCreation:@"new"
                              lang:@"en"
                          username:@"user"
                      fullUserName:@"user@realm"
                         profileID:@"profile"
                         installId:@"install"
                        sqmCounter:@"12"];
  [collector collectDataonPreConnect:@"s"
                             forSSID:@"Café"
                     accessProcedure:@"access"
                             popType:@"customer"
                        wiFiSecurity:@"wpa2"
                            phoneVer:@"4.70"
                        pbUpdateDate:@"2026-11-01"];
  [collector setConnectStartTime];
  [collector setLoginStartTime];
  [collector setLoginEndTime];
  [collector collectDataPostConnect:@"1"
                         devicetype:@"2"
                   clientMacAddress:@"00:00:00:00:00:01"
                       apMacAddress:@"00:00:00:00:00:02"
                     signalstrength:@"-61"
                           clientIP:@"10.0.0.2"
                           serverIP:@"10.0.0.1"];
  [collector setErrorCode:0];
  [collector setAutoConnect:1];
  [collector collectDataOnDisconnect:3
                    finalSigStrength:-70
                            phoneVer:@"4.70"
                        pbUpdateDate:@"2026-11-02"
                             rxBytes:5000000000LL
                             txBytes:7];
  printNumber("saved", [collector saveRec]);
  print("file", [[collector getSQMFileName] lastPathComponent]);
  for (int64_t position = 0; position < 86; ++position) print("position", [collector valueForField:position]);
}

static void report(void) {
  SQMDiagnosticsRecord* record = [SQMDiagnosticsRecord sharedSQMDiagnosticsRecord];
  [record setSsid:@"Café"];
  [record setSigStrength:@"-61"];
  [record setRavixUagent:@"agent"];
  [record setErrorCode:@"2"];
  [[record discoveryDetails] addObject:@"Portal found"];
  [[record loginPollDetails] addObject:[NSDictionary dictionaryWithObject:@"200" forKey:@"status"]];
  print("discovery", [record formatDiscoveryDetails]);
  print("poll", [record formatLoginPollDetails]);
  print("report", [record formattedDiagnosticJsonBlob]);
  [record resetDiagnosticsRecord];
  print("reset", [record ssid]);
  print("report", [record formattedDiagnosticJsonBlob]);
}

int main(int argc, char** argv) {
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  if (argc != 4) return 2;
  NSString* home = [NSString stringWithUTF8String:argv[1]];
  NSString* server = [NSString stringWithUTF8String:argv[3]];
  Client* client = [[[Client alloc] init] autorelease];
  SQMHostOptions* options = [[[SQMHostOptions alloc] init] autorelease];
  [options setText:home forOption:SQM_TEXT_HOME_DIRECTORY];
  [options setText:[NSString stringWithUTF8String:argv[2]] forOption:SQM_TEXT_RESOURCE_DIRECTORY];
  [options setDelegate:client];
  SQMHost* host = [[[SQMHost alloc] initWithHostOptions:options] autorelease];
  [host install];
  printNumber("folders", [host makeFolders]);
  printNumber("stamp", [host setClientTimeStamp:@"\"1763975258\""]);
  NSString* names[] = {TrelkSQMUploadSuccess, TrelkSQMUploadFailure, TrelkSQMUploadComplete, TrelkSQMUploadError};
  for (int at = 0; at < 4; ++at) {
    [[NSNotificationCenter defaultCenter] addObserver:client selector:@selector(ended:) name:names[at] object:nil];
  }

  SQMManager* manager = [[[SQMManager alloc] init] autorelease];
  [manager SetSQMClientURL:[server stringByAppendingString:@"/client"]];
  [manager SetSQMConnectionURL:[server stringByAppendingString:@"/connection"]];
  [manager SetSQMDeviceURL:[server stringByAppendingString:@"/device"]];
  [manager SetSQMApplicationURL:[server stringByAppendingString:@"/application"]];
  [manager SetSQMUserAcceptanceURL:[server stringByAppendingString:@"/userAcceptance"]];
  record(manager, newEvent());
  [manager uploadSQM];
  printNumber("idle", [host runUntilIdleWithin:240]);
  printNumber("state", [manager uploadState]);
  record(manager, newEvent());
  [manager saveToDisk];

  collect(home);
  SQMUploader* uploader = [[[SQMUploader alloc] init] autorelease];
  [uploader setSQMDirPath:home];
  [uploader setSQMUploadUrl:[server stringByAppendingString:@"/sqm"]];
  [uploader startSend];
  printNumber("idle", [host runUntilIdleWithin:240]);
  printNumber("status", [uploader getActivityStatus]);
  collect(home);

  QFRecordUploader* queue = [QFRecordUploader sharedQFRecordUploader];
  printNumber("queued", [queue quequeRecord:@"one" serverDetails:[server stringByAppendingString:@"/one"]]);
  printNumber("queued", [queue quequeRecord:@"two é" serverDetails:[server stringByAppendingString:@"/two"]]);
  [queue uploadRecord];
  printNumber("idle", [host runUntilIdleWithin:240]);
  printNumber("queued", [queue quequeRecord:@"three" serverDetails:@"http://127.0.0.1:1/"]);
  printNumber("left", (int64_t)[[queue recordQueue] count]);
  report();
  [pool release];
  return 0;
}
