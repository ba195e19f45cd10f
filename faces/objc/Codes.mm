#import "faces/objc/sqm-objc/codes.h"

#include <map>
#include <mutex>
#include <utility>

#include "sqm/records/SQMApplicationRecHelper.h"
#include "sqm/records/SQMClientHelper.h"
#include "sqm/records/SQMUserAcceptRecHelper.h"

#include "faces/objc/internal/Bridge.h"
#import "faces/objc/internal/SQMSharedObject+Shared.h"

using sqm::objc::guarded;
using sqm::objc::initialized;
using sqm::objc::stringOf;

namespace {

/// The object of a class, nil before it is made. Another thread that asks for one waits for the end of this.
struct LockedObject {
  std::unique_lock<std::recursive_mutex> lock;
  id& object;
};

LockedObject objectOf(Class type) {
  return guarded([&] {
    static auto& mutex = *new std::recursive_mutex;   // neither is ever destroyed,
    static auto& objects = *new std::map<Class, id>;  // as the objects are not
    std::unique_lock lock(mutex);
    return LockedObject{std::move(lock), objects[type]};
  });
}

const auto& applicationCodes() { return *sqm::SQMApplicationRecHelper::sharedSQMApplicationRecHelper(); }

}  // namespace

@implementation SQMSharedObject

+ (id)shared {
  const LockedObject made = objectOf(self);
  return made.object == nil ? [[self alloc] init] : made.object;
}

+ (id)allocWithZone:(NSZone*)zone {
  const LockedObject made = objectOf(self);
  return made.object == nil ? made.object = [super allocWithZone:zone] : nil;
}

- (id)copyWithZone:(NSZone*)zone {
  (void)zone;
  return self;
}

- (id)retain {
  return self;
}

- (id)autorelease {
  return self;
}

- (oneway void)release {
}

- (NSUInteger)retainCount {
  return NSUIntegerMax;
}

@end

@implementation SQMApplicationRecHelper

+ (SQMApplicationRecHelper*)sharedSQMApplicationRecHelper {
  return [self shared];
}

- (NSString*)launchType:(int32_t)code {
  return guarded([&] { return stringOf(applicationCodes().launchType(code)); });
}

- (NSString*)connectionStatusCode:(int32_t)code {
  return guarded([&] { return stringOf(applicationCodes().connectionStatusCode(code)); });
}

- (NSString*)connectionResult:(int32_t)code {
  return guarded([&] { return stringOf(applicationCodes().connectionResult(code)); });
}

- (NSString*)vpnDisconnectReasonCode:(int32_t)code {
  return guarded([&] { return stringOf(applicationCodes().vpnDisconnectReasonCode(code)); });
}

@end

@implementation SQMUserAcceptRecHelper

+ (SQMUserAcceptRecHelper*)sharedSQMUserAcceptRecHelper {
  return [self shared];
}

- (NSString*)alertMessageType:(int32_t)code {
  return guarded(
      [&] { return stringOf(sqm::SQMUserAcceptRecHelper::sharedSQMUserAcceptRecHelper()->alertMessageType(code)); });
}

@end

struct sqm_objc_client_helper {
  sqm::objc::KeptHost host;
  sqm::SQMClientHelper helper{host.services()};
};

@implementation SQMClientHelper

- (id)init {
  self = [super init];
  return initialized(self, _body, [] { return new sqm_objc_client_helper; });
}

- (void)dealloc {
  delete _body;
  [super dealloc];
}

- (NSString*)getCurrentLocale {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.helper.getCurrentLocale()); });
}

- (NSString*)getOSVersion {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.helper.getOSVersion()); });
}

- (NSString*)getOSName {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.helper.getOSName()); });
}

- (NSString*)osName {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.helper.osName()); });
}

- (NSString*)getEnvironmentInfoAsXMLString {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.helper.getEnvironmentInfoAsXMLString()); });
}

- (NSString*)getProductInfoAsXMLString {
  return guarded([&] { return stringOf(sqm::SQMClientHelper::getProductInfoAsXMLString()); });
}

@end
