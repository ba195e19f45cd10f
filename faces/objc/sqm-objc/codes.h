/* The texts for the client's codes, and facts about the environment. */
#import <Foundation/Foundation.h>

/* The base of the classes with one object in the process, which is never freed: `retain`, `autorelease`, `copy` and
 * `copyWithZone:` give the object itself, `release` does nothing, `retainCount` is the largest number. Any thread. */
@interface SQMSharedObject : NSObject <NSCopying>

/* Makes the object; nil when it exists: there is never a second one. */
+ (id)allocWithZone:(NSZone*)zone;

- (id)copyWithZone:(NSZone*)zone;
- (id)retain;
- (id)autorelease;
- (oneway void)release;
- (NSUInteger)retainCount;
@end

/* The texts that application records carry for the client's VPN codes. A code that is not known has a text, too. Any
 * thread. */
@interface SQMApplicationRecHelper : SQMSharedObject

/* The object, made by the first call. */
+ (SQMApplicationRecHelper*)sharedSQMApplicationRecHelper;

/* 1 "connectondemand", 2 "autoreconnect", else "autolaunch". */
- (NSString*)launchType:(int32_t)code;

/* 1 "Connection Success" to 7 "Internal VPN Error", else "Unknown". */
- (NSString*)connectionStatusCode:(int32_t)code;

/* 1 "success", 2 "fail", else "unknown". */
- (NSString*)connectionResult:(int32_t)code;

/* 1 "Disconnected By User", 2 "Disconnected By Policy", else "Unknown". */
- (NSString*)vpnDisconnectReasonCode:(int32_t)code;
@end

/* The texts that user-acceptance records carry for the client's kinds of prompt. Any thread. */
@interface SQMUserAcceptRecHelper : SQMSharedObject

/* The object, made by the first call. */
+ (SQMUserAcceptRecHelper*)sharedSQMUserAcceptRecHelper;

/* 0 "roaming", 1 "softwareupdate", else "Unknown". */
- (NSString*)alertMessageType:(int32_t)code;
@end

/* Facts about the environment that the client runs in. */
@interface SQMClientHelper : NSObject {
 @private
  struct sqm_objc_client_helper* _body;
}

- (id)init;

/* The display name of the user's locale in British English, "French (France)"; "" when it has none. */
- (NSString*)getCurrentLocale;

/* The operating system's version. Also reads the name, which `getOSName` then gives. */
- (NSString*)getOSVersion;

/* The operating system's name as the last `getOSVersion` read it; nil before the first. */
- (NSString*)getOSName;

/* The operating system's name, read anew. */
- (NSString*)osName;

/* The environment as elements; unlike in the client record, the values are not escaped. */
- (NSString*)getEnvironmentInfoAsXMLString;

/* The product as an element: a fixed text. */
- (NSString*)getProductInfoAsXMLString;
@end
