#include "faces/objc/internal/Records.h"

#include "sqm/records/SQMApplicationRecord.h"
#include "sqm/records/SQMClientRecord.h"
#include "sqm/records/SQMConnectionRecord.h"
#include "sqm/records/SQMDeviceRecord.h"
#include "sqm/records/SQMUserAcceptanceRecord.h"

using sqm::objc::guarded;
using sqm::objc::initialized;
using sqm::objc::KeptRecord;
using sqm::objc::MakeRecord;
using sqm::objc::stringOf;
using sqm::objc::textOf;

int32_t NsqmRecType = 0;
int32_t NSSQMFields = 0;
int32_t NSSqmError = 0;

struct sqm_objc_record {
  explicit sqm_objc_record(std::shared_ptr<KeptRecord> record) : kept(std::move(record)) {}
  sqm_objc_record(const sqm_objc_record&) = delete;
  sqm_objc_record& operator=(const sqm_objc_record&) = delete;
  ~sqm_objc_record() { [values release]; }

  std::shared_ptr<KeptRecord> kept;
  SQMRecordValues* values = nil;
};

namespace {

template <typename Record>
sqm::TableRecord* makeRecord(sqm::Host& host) {
  return new Record(host);
}

/// The text of an operation of the record's own class.
template <typename Record>
NSString* textFrom(const sqm_objc_record& body, std::string (Record::*operation)() const) {
  return guarded([&] { return stringOf((static_cast<const Record&>(*body.kept->record).*operation)()); });
}

}  // namespace

@implementation SQMTableRecord

- (id)init {
  self = [super init];
  const MakeRecord make = [self maker];
  return initialized(self, _body, [&]() -> sqm_objc_record* {
    if (make == nullptr) return nullptr;
    auto kept = std::make_shared<KeptRecord>();
    kept->record.reset(make(kept->host.services()));
    return new sqm_objc_record(std::move(kept));
  });
}

- (id)initWithRecord:(const std::shared_ptr<sqm::TableRecord>&)record ofHost:(const sqm::objc::KeptHost&)host {
  self = [super init];
  return initialized(self, _body, [&] {
    return new sqm_objc_record(std::make_shared<KeptRecord>(KeptRecord{host, record}));
  });
}

- (void)dealloc {
  delete _body;
  [super dealloc];
}

- (MakeRecord)maker {
  return nullptr;
}

- (std::shared_ptr<sqm::TableRecord>)record {
  return _body->kept->record;
}

- (int64_t)FormatRecord:(NSString**)record {
  auto& body = *_body;
  return guarded([&] {
    std::optional<std::string> slot = textOf(record == nullptr ? nil : *record);
    const std::int64_t status = body.kept->record->FormatRecord(slot);
    if (slot) *record = stringOf(slot);
    return status;
  });
}

- (int64_t)SetAttribute:(int64_t)field withValue:(NSString*)value {
  auto& body = *_body;
  return guarded([&] { return body.kept->record->SetAttribute(field, textOf(value)); });
}

- (int64_t)SetAttributeAfterXMLCompatibleFormat:(int64_t)field withValue:(NSString*)value {
  auto& body = *_body;
  return guarded([&] { return body.kept->record->SetAttributeAfterXMLCompatibleFormat(field, textOf(value)); });
}

- (BOOL)clearRecord {
  auto& body = *_body;
  return guarded([&]() -> BOOL { return body.kept->record->clearRecord(); });
}

- (NSMutableDictionary*)recordValues {
  auto& body = *_body;
  return guarded([&]() -> NSMutableDictionary* {
    if (body.kept->record->recordValues() == nullptr) return nil;
    if (body.values == nil) body.values = [[SQMRecordValues alloc] initWithKeptRecord:body.kept];
    return body.values;
  });
}

- (NSString*)recordName {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.kept->record->recordName()); });
}

- (NSString*)recordSubType {
  auto& body = *_body;
  return guarded([&] { return stringOf(body.kept->record->recordSubType()); });
}

- (void)updateRecordValues:(NSDictionary*)values {
  auto& body = *_body;
  guarded([&] { body.kept->record->updateRecordValues(sqm::objc::valuesOf(values)); });
}

- (int64_t)ValidateRecordData {
  auto& body = *_body;
  return guarded([&] { return body.kept->record->ValidateRecordData(); });
}

@end

@implementation SQMConnectionRecord

- (MakeRecord)maker {
  return makeRecord<sqm::SQMConnectionRecord>;
}

- (NSString*)FormatCommonSQMFields {
  return textFrom(*_body, &sqm::SQMConnectionRecord::FormatCommonSQMFields);
}

@end

@implementation SQMWiFiConnectionRecord

- (MakeRecord)maker {
  return makeRecord<sqm::SQMWiFiConnectionRecord>;
}

- (NSString*)FormatWiFiConnectionFields {
  return textFrom(*_body, &sqm::SQMWiFiConnectionRecord::FormatWiFiConnectionFields);
}

@end

@implementation SQMMBConnectionRecord

- (MakeRecord)maker {
  return makeRecord<sqm::SQMMBConnectionRecord>;
}

- (NSString*)FormatMBConnectionFields {
  return textFrom(*_body, &sqm::SQMMBConnectionRecord::FormatMBConnectionFields);
}

@end

@implementation SQMEthernetConnectionRecord

- (MakeRecord)maker {
  return makeRecord<sqm::SQMEthernetConnectionRecord>;
}

- (NSString*)FormatEthernetConnectionFields {
  return textFrom(*_body, &sqm::SQMEthernetConnectionRecord::FormatEthernetConnectionFields);
}

@end

@implementation SQMClientRecord

- (MakeRecord)maker {
  return makeRecord<sqm::SQMClientRecord>;
}

- (int64_t)setValue:(NSString*)value forKey:(NSString*)key {
  auto& body = *_body;
  return guarded(
      [&] { return static_cast<sqm::SQMClientRecord&>(*body.kept->record).setValue(textOf(value), textOf(key)); });
}

- (NSString*)constructEnvironmentInformation {
  return textFrom(*_body, &sqm::SQMClientRecord::constructEnvironmentInformation);
}

@end

@implementation SQMDeviceRecord

- (MakeRecord)maker {
  return makeRecord<sqm::SQMDeviceRecord>;
}

- (NSString*)FormatMobileDeviceFields {
  return textFrom(*_body, &sqm::SQMDeviceRecord::FormatMobileDeviceFields);
}

@end

@implementation SQMApplicationRecord

- (MakeRecord)maker {
  return makeRecord<sqm::SQMApplicationRecord>;
}

- (NSString*)FormatVPNApplicationTypeData {
  return textFrom(*_body, &sqm::SQMApplicationRecord::FormatVPNApplicationTypeData);
}

- (NSString*)FormatCommonApplicationFields {
  return textFrom(*_body, &sqm::SQMApplicationRecord::FormatCommonApplicationFields);
}

- (NSString*)FormatCommonSessionFields {
  return textFrom(*_body, &sqm::SQMApplicationRecord::FormatCommonSessionFields);
}

@end

@implementation SQMUserAcceptanceRecord

- (MakeRecord)maker {
  return makeRecord<sqm::SQMUserAcceptanceRecord>;
}

@end
