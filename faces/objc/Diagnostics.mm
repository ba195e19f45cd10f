#import "faces/objc/sqm-objc/diagnostics.h"

#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>

#include "sqm/diagnostics/SQMDiagnosticsRecord.h"

#include "faces/objc/internal/Bridge.h"

using sqm::objc::guarded;
using sqm::objc::initialized;
using sqm::objc::stringOf;
using sqm::objc::textOf;

using Record = sqm::SQMDiagnosticsRecord;

struct sqm_objc_diagnostics {
  sqm::objc::KeptHost host;
  std::shared_ptr<Record> record;
  NSMutableArray* discovery = [[NSMutableArray alloc] init];
  NSMutableArray* loginPoll = [[NSMutableArray alloc] init];

  sqm_objc_diagnostics() = default;
  sqm_objc_diagnostics(const sqm_objc_diagnostics&) = delete;
  sqm_objc_diagnostics& operator=(const sqm_objc_diagnostics&) = delete;
  ~sqm_objc_diagnostics() {
    [discovery release];
    [loginPoll release];
  }
};

namespace {

/// The deepest nesting that is written: a container may contain itself.
constexpr int kDeepestNesting = 512;

std::optional<sqm::JsonValue> literalOf(NSNumber* number) {
  if (number == [NSNumber numberWithBool:YES]) return sqm::JsonLiteral{"true"};
  if (number == [NSNumber numberWithBool:NO]) return sqm::JsonLiteral{"false"};
  if (!std::isfinite([number doubleValue])) return std::nullopt;
  return sqm::JsonLiteral{*textOf([number stringValue])};
}

bool areTexts(NSArray* keys) {
  for (NSUInteger at = 0; at < [keys count]; ++at) {
    if (![[keys objectAtIndex:at] isKindOfClass:[NSString class]]) return false;
  }
  return true;
}

std::optional<sqm::JsonValue> jsonOf(id object, int nesting);

std::optional<sqm::JsonValue> elementsOf(NSArray* array, int nesting) {
  sqm::JsonArray elements;
  for (NSUInteger at = 0; at < [array count]; ++at) {
    auto element = jsonOf([array objectAtIndex:at], nesting);
    if (!element) return std::nullopt;
    elements.push_back(*std::move(element));
  }
  return elements;
}

/// In the order of their keys, as the dictionary has none.
std::optional<sqm::JsonValue> membersOf(NSDictionary* dictionary, int nesting) {
  sqm::JsonObject members;
  NSArray* const keys = [[dictionary allKeys] sortedArrayUsingSelector:@selector(compare:)];
  for (NSUInteger at = 0; at < [keys count]; ++at) {
    NSString* const key = [keys objectAtIndex:at];
    auto value = jsonOf([dictionary objectForKey:key], nesting);
    if (!value) return std::nullopt;
    members.push_back({*textOf(key), *std::move(value)});
  }
  return members;
}

/// The object, whose containers may be nested `nesting` deep. Nothing for what JSON does not have.
std::optional<sqm::JsonValue> jsonOf(id object, int nesting) {
  if ([object isKindOfClass:[NSString class]]) return *textOf(object);
  if ([object isKindOfClass:[NSNumber class]]) return literalOf(object);
  if (object == [NSNull null]) return sqm::JsonLiteral{"null"};
  if (nesting == 0) return std::nullopt;
  if ([object isKindOfClass:[NSArray class]]) return elementsOf(object, nesting - 1);
  if ([object isKindOfClass:[NSDictionary class]] && areTexts([object allKeys])) return membersOf(object, nesting - 1);
  return std::nullopt;
}

/// Holds a literal without text, of which there is no JSON text, when there is none of the array.
Record::Array arrayOf(NSArray* array) {
  if (array == nil) return nullptr;
  const auto json = jsonOf(array, kDeepestNesting);
  return std::make_shared<sqm::JsonArray>(json ? std::get<sqm::JsonArray>(*json) : sqm::JsonArray{sqm::JsonLiteral{}});
}

/// The record with the arrays as they are now.
Record& upToDate(const sqm_objc_diagnostics& body) {
  body.record->setDiscoveryDetails(arrayOf(body.discovery));
  body.record->setLoginPollDetails(arrayOf(body.loginPoll));
  return *body.record;
}

NSString* textFrom(const sqm_objc_diagnostics& body, const Record::Text& (Record::*property)() const) {
  return guarded([&] { return stringOf((*body.record.*property)()); });
}

void setText(const sqm_objc_diagnostics& body, void (Record::*property)(Record::Text), NSString* text) {
  guarded([&] { (*body.record.*property)(textOf(text)); });
}

using MakeRecord = std::shared_ptr<Record> (*)(sqm::Host& host);

std::shared_ptr<Record> ownRecord(sqm::Host& host) { return std::make_shared<Record>(host); }

/// The process's record, which is never destroyed.
std::shared_ptr<Record> sharedRecord(sqm::Host& /*host*/) {
  return {Record::sharedSQMDiagnosticsRecord(), [](Record*) {}};
}

void replace(NSMutableArray*& array, NSMutableArray* given) {
  [given retain];
  [array release];
  array = given;
}

}  // namespace

@interface SQMDiagnosticsRecord (Record)

- (id)initWithRecord:(MakeRecord)make;
@end

@implementation SQMDiagnosticsRecord

+ (SQMDiagnosticsRecord*)sharedSQMDiagnosticsRecord {
  return guarded([] {
    static SQMDiagnosticsRecord* const shared = [[SQMDiagnosticsRecord alloc] initWithRecord:sharedRecord];
    return shared;
  });
}

- (id)init {
  return [self initWithRecord:ownRecord];
}

- (id)initWithRecord:(MakeRecord)make {
  self = [super init];
  return initialized(self, _body, [&] {
    auto body = std::make_unique<sqm_objc_diagnostics>();
    body->record = make(body->host.services());
    return body->record ? body.release() : nullptr;
  });
}

- (void)dealloc {
  delete _body;
  [super dealloc];
}

// The accessors of a text.
#define SQM_TEXT(property, setter)              \
  -(NSString*)property {                        \
    return textFrom(*_body, &Record::property); \
  }                                             \
  -(void)setter : (NSString*)text {             \
    setText(*_body, &Record::setter, text);     \
  }

SQM_TEXT(ssid, setSsid)
SQM_TEXT(sigStrength, setSigStrength)
SQM_TEXT(security, setSecurity)
SQM_TEXT(apmac, setApmac)
SQM_TEXT(nic, setNic)
SQM_TEXT(ravixUrl, setRavixUrl)
SQM_TEXT(ravixUagent, setRavixUagent)
SQM_TEXT(ravixResp, setRavixResp)
SQM_TEXT(ravixHttpStatusCode, setRavixHttpStatusCode)
SQM_TEXT(authProtocol, setAuthProtocol)
SQM_TEXT(dirID, setDirID)
SQM_TEXT(authUagent, setAuthUagent)
SQM_TEXT(loginURL, setLoginURL)
SQM_TEXT(errorCode, setErrorCode)
SQM_TEXT(errorDetails, setErrorDetails)

#undef SQM_TEXT

- (NSMutableArray*)discoveryDetails {
  return _body->discovery;
}

- (void)setDiscoveryDetails:(NSMutableArray*)details {
  replace(_body->discovery, details);
}

- (NSMutableArray*)loginPollDetails {
  return _body->loginPoll;
}

- (void)setLoginPollDetails:(NSMutableArray*)details {
  replace(_body->loginPoll, details);
}

- (NSString*)formatDiscoveryDetails {
  auto& body = *_body;
  return guarded([&] { return stringOf(upToDate(body).formatDiscoveryDetails()); });
}

- (NSString*)formatLoginPollDetails {
  auto& body = *_body;
  return guarded([&] { return stringOf(upToDate(body).formatLoginPollDetails()); });
}

- (void)validate {
  auto& body = *_body;
  guarded([&] { body.record->validate(); });
}

- (NSString*)formattedDiagnosticJsonBlob {
  auto& body = *_body;
  return guarded([&] { return stringOf(upToDate(body).formattedDiagnosticJsonBlob()); });
}

- (void)resetDiagnosticsRecord {
  auto& body = *_body;
  guarded([&] { body.record->resetDiagnosticsRecord(); });
  [_body->discovery removeAllObjects];
  [_body->loginPoll removeAllObjects];
}

- (void)resetRavixDiagnosticsRecord {
  auto& body = *_body;
  guarded([&] { body.record->resetRavixDiagnosticsRecord(); });
}

@end
