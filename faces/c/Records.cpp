#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "sqm/records/SQMApplicationRecord.h"
#include "sqm/records/SQMClientRecord.h"
#include "sqm/records/SQMConnectionRecord.h"
#include "sqm/records/SQMDeviceRecord.h"
#include "sqm/records/SQMUserAcceptanceRecord.h"

#include "faces/c/internal/Objects.h"
#include "faces/c/internal/Tables.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace

struct sqm_record {
  SharedHost host;
  std::shared_ptr<sqm::TableRecord> record;
};

namespace {

struct Kind {
  std::int32_t number;
  std::shared_ptr<sqm::TableRecord> (*make)(sqm::Host& host);
};

template <typename Record>
std::shared_ptr<sqm::TableRecord> make(sqm::Host& host) {
  return std::make_shared<Record>(host);
}

constexpr Kind kKinds[] = {
    {SQM_KIND_WIFI_CONNECTION, make<sqm::SQMWiFiConnectionRecord>},
    {SQM_KIND_MOBILE_CONNECTION, make<sqm::SQMMBConnectionRecord>},
    {SQM_KIND_ETHERNET_CONNECTION, make<sqm::SQMEthernetConnectionRecord>},
    {SQM_KIND_CLIENT, make<sqm::SQMClientRecord>},
    {SQM_KIND_DEVICE, make<sqm::SQMDeviceRecord>},
    {SQM_KIND_APPLICATION, make<sqm::SQMApplicationRecord>},
    {SQM_KIND_USER_ACCEPTANCE, make<sqm::SQMUserAcceptanceRecord>},
};
static_assert(isInOrder(kKinds));
static_assert(std::int64_t{sqm::kRecordRejected} == SQM_FORMAT_REJECTED);
static_assert(std::int64_t{sqm::kConnectionRequiredFieldMissing} == SQM_FORMAT_FIELD_MISSING);

/// A null handle for a null record.
sqm_record* newRecord(const SharedHost& host, std::shared_ptr<sqm::TableRecord> record) {
  if (!record) return nullptr;
  return newHandle<sqm_record>([&] { return std::make_unique<sqm_record>(sqm_record{host, std::move(record)}); });
}

void requireStored(std::int64_t status) { require(status == sqm::kRecordOk, "the record has no such field"); }

sqm::ValueDictionary& valuesOf(sqm::TableRecord& record) {
  if (record.recordValues() == nullptr) throw Failure(SQM_UNAVAILABLE, "there is no field-name table");
  return *record.recordValues();
}

}  // namespace

sqm_record* sqm_record_create(sqm_host* host, int32_t kind) {
  return valueOr<sqm_record*>(nullptr, [&] {
    const SharedHost& state = on(host).state;
    return newRecord(state, rowOf(kKinds, kind, "there is no such kind").make(state->host));
  });
}

void sqm_record_destroy(sqm_record* record) { destroy(record); }

sqm_status sqm_record_set(sqm_record* record, int64_t field, const char* value) {
  return attempt([&] { requireStored(on(record).record->SetAttribute(field, textOf(value))); });
}

sqm_status sqm_record_set_xml_safe(sqm_record* record, int64_t field, const char* value) {
  return attempt([&] { requireStored(on(record).record->SetAttributeAfterXMLCompatibleFormat(field, textOf(value))); });
}

char* sqm_record_value(const sqm_record* record, const char* key) {
  return textFrom([&] {
    sqm::TableRecord& target = *on(record).record;
    require(key != nullptr, "the key is NULL");
    return valuesOf(target).find(key);
  });
}

sqm_status sqm_record_set_value(sqm_record* record, const char* key, const char* value) {
  return attempt([&] {
    sqm::TableRecord& target = *on(record).record;
    require(key != nullptr, "the key is NULL");
    if (value == nullptr) {
      valuesOf(target).erase(key);
    } else {
      valuesOf(target).set(key, value);
    }
  });
}

sqm_status sqm_record_clear(sqm_record* record) {
  return attempt([&] { on(record).record->clearRecord(); });
}

char* sqm_record_format(sqm_record* record, int64_t* status) {
  return textFrom([&] {
    std::optional<std::string> slot = "";
    const std::int64_t result = on(record).record->FormatRecord(slot);
    if (status != nullptr) *status = result;
    return slot;
  });
}

int64_t sqm_record_validate(const sqm_record* record) {
  return valueOr(std::int64_t{SQM_FORMAT_REJECTED}, [&] { return on(record).record->ValidateRecordData(); });
}

char* sqm_record_name(const sqm_record* record) {
  return textFrom([&] { return on(record).record->recordName(); });
}

char* sqm_record_sub_type(const sqm_record* record) {
  return textFrom([&] { return on(record).record->recordSubType(); });
}

sqm_record* sqm_manager_application_record(const sqm_manager* manager) {
  return valueOr<sqm_record*>(nullptr, [&] {
    const sqm_manager& source = on(manager);
    return newRecord(source.host, source.manager->sqmAppLicationRecord());
  });
}

sqm_status sqm_manager_set_application_record(sqm_manager* manager, const sqm_record* record) {
  return attempt([&] {
    sqm::SQMManager& target = *on(manager).manager;
    if (record == nullptr) return target.setSqmAppLicationRecord(nullptr);
    auto application = std::dynamic_pointer_cast<sqm::SQMApplicationRecord>(on(record).record);
    require(application != nullptr, "the record is no application record");
    target.setSqmAppLicationRecord(std::move(application));
  });
}
