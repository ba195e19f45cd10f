#import <sqm-objc.h>

int main(int argc, char** argv) {
  NSAutoreleasePool* pool = [[NSAutoreleasePool alloc] init];
  NSString* server = argc > 1 ? [NSString stringWithUTF8String:argv[1]] : @"http://127.0.0.1:8080";
  /* HTTP, files, logs, locale: the services the library needs. With these options a crash loses no record. */
  SQMHost* host = [[[SQMHost alloc] initWithHostOptions:[SQMHostOptions recommended]] autorelease];
  if (![host makeFolders]) return 1; /* SQMFiles.log says why */
  [host install];

  SQMManager* manager = [[[SQMManager alloc] init] autorelease]; /* holds what earlier runs saved */
  [manager SetSQMConnectionURL:[server stringByAppendingString:@"/connection"]];
  [manager setDeviceType:1]; /* Wi-Fi */

  /* Value N feeds the field that entry N of SQMFieldNames.plist names. */
  SQMSessionParams* attempt = [[[SQMSessionParams alloc] init] autorelease];
  [attempt setStringValue:@"2026-11-21T09:30:00Z" forKey:6];
  [attempt setStringValue:@"Café & Bar" forKey:26];
  [attempt setIntValue:-61 forKey:23];
  [manager sqmCreateStartRecord:attempt];
  [manager sqmCreateStopRecord:attempt];
  [manager saveToDisk];

  /* Sends and saves. */
  BOOL isSent = [host shutDownWithin:10 uploads:[NSArray arrayWithObject:manager] waiting:NULL];
  [pool release];
  return isSent ? 0 : 1;
}
