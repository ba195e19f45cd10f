/* A minimal client in Objective-C, built with what is installed alone: records one event, uploads it, and is notified.
 */

#import <sqm-objc.h>

static void expect(BOOL holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "consumer: %s\n", what);
  exit(1);
}

/* The application: its own HTTP answers each request with 200. */
@interface Client : NSObject <SQMHostDelegate> {
 @public
  int posts;
  int delivered;
}
@end

@implementation Client

- (void)sqmSendHttpRequest:(SQMHttpRequest*)request {
  NSString* body = [[[NSString alloc] initWithData:[request body] encoding:NSUTF8StringEncoding] autorelease];
  expect([[request URL] isEqual:@"https://collector.example/connections"], "the address is another one");
  expect([body rangeOfString:@"session-1"].location != NSNotFound, "the body lacks the record");
  ++posts;
  [request endWithStatus:200 body:nil headers:nil retryAfter:0];
}

- (void)delivered:(NSNotification*)notification {
  expect([[notification object] isKindOfClass:[SQMUpdaterAgent class]], "the sender is no agent");
  ++delivered;
}

@end

int main(int argc, char** argv) {
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  Client* client = [[[Client alloc] init] autorelease];
  SQMHostOptions* options = [[[SQMHostOptions alloc] init] autorelease];
  SQMHost* host;
  SQMManager* manager;
  SQMSessionParams* params = [[[SQMSessionParams alloc] init] autorelease];
  expect(argc == 2, "the argument is the home directory");
  [options setText:[NSString stringWithUTF8String:argv[1]] forOption:SQM_TEXT_HOME_DIRECTORY];
  [options setDelegate:client];
  host = [[[SQMHost alloc] initWithHostOptions:options] autorelease];
  expect([host makeFolders], "no folders");
  [host install];
  [[NSNotificationCenter defaultCenter] addObserver:client
                                           selector:@selector(delivered:)
                                               name:TrelkSQMUploadSuccess
                                             object:nil];

  manager = [[[SQMManager alloc] init] autorelease];
  [manager SetSQMConnectionURL:@"https://collector.example/connections"];
  [manager setDeviceType:1];
  expect([params setStringValue:@"session-1" forKey:6] == 0, "a parameter was not taken");
  [manager sqmCreateStartRecord:params];
  [manager uploadSQM];
  expect([host runUntilIdleWithin:10], "the upload has not ended");
  expect(client->posts == 1 && client->delivered == 1, "the connection record was not posted");
  [[NSNotificationCenter defaultCenter] removeObserver:client];
  [pool release];
  return 0;
}
