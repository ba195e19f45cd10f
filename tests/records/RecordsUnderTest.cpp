#include "tests/records/RecordsUnderTest.h"

#include <utility>

#include "sqm/records/SQMApplicationRecord.h"
#include "sqm/records/SQMClientRecord.h"
#include "sqm/records/SQMConnectionRecord.h"
#include "sqm/records/SQMDeviceRecord.h"
#include "sqm/records/SQMUserAcceptanceRecord.h"

namespace {

template <typename Record>
std::unique_ptr<sqm::SQM> make(sqm::Host& host) {
  return std::make_unique<Record>(host);
}

template <typename Record>
std::int64_t validate(const sqm::SQM& record) {
  return dynamic_cast<const Record&>(record).ValidateRecordData();
}

template <typename Record>
KindCase kindOf(KindCase kind) {
  kind.make = make<Record>;
  kind.validate = validate<Record>;
  return kind;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Formatted& formatted) {
  return out << formatted.status << " " << formatted.text.value_or("(no text)");
}

std::ostream& operator<<(std::ostream& out, const KindCase& kind) { return out << kind.id; }

Formatted formatted(sqm::SQM& record, std::optional<std::string> slot) {
  const std::int64_t status = record.FormatRecord(slot);
  return {status, std::move(slot)};
}

void fillEverything(sqm::SQM& record) {
  sqm::ValueDictionary& values = *record.recordValues();
  for (int field = 90; field >= 0; --field) {
    const std::string number = std::to_string(field);
    values.set("F" + number, "V" + number);
  }
  for (const char* key : {"osVersion", "os", "locale", "6", "F91", "gateway"}) {
    values.set(key, std::string("the ") + key);
  }
}

const std::vector<KindCase>& recordKinds() {
  static const std::vector<KindCase> kinds = {
      kindOf<sqm::SQMWiFiConnectionRecord>(
          {.id = "WiFi",
           .goldenFile = "wifi_connection_record.xml",
           .recordName = "connection",
           .subType = "F10",
           .requiredMissing = 4,
           .minimal = "<F5><F6 timestamp=\"0000000000\">V6</F6><F10><F87></F87></F10></F5>",
           .withoutResource = {0,
                               "<(null)><(null) timestamp=\"0000000000\"></(null)>"
                               "<(null)><(null)></(null)></(null)></(null)>"}}),
      kindOf<sqm::SQMMBConnectionRecord>(
          {.id = "MobileBroadband",
           .goldenFile = "mobile_broadband_connection_record.xml",
           .recordName = "connection",
           .subType = "mobiledata",
           .requiredMissing = 4,
           .minimal = "<F5><F6 timestamp=\"0000000000\">V6</F6><F7></F7><F8></F8><F9></F9>"
                      "<F42><F46></F46><F50></F50></F42></F5>",
           .withoutResource = {0,
                               "<(null)><(null) timestamp=\"0000000000\"></(null)>"
                               "<(null)></(null)><(null)></(null)><(null)></(null)>"
                               "<(null)><(null)></(null)><(null)></(null)></(null)></(null)>"}}),
      kindOf<sqm::SQMEthernetConnectionRecord>(
          {.id = "Ethernet",
           .goldenFile = "ethernet_connection_record.xml",
           .recordName = "connection",
           .subType = "F74",
           .requiredMissing = 4,
           .minimal = "<F5><F6 timestamp=\"0000000000\">V6</F6><F7></F7><F8></F8><F9></F9>"
                      "<F74><F73></F73></F74></F5>",
           .withoutResource = {0,
                               "<(null)><(null) timestamp=\"0000000000\"></(null)>"
                               "<(null)></(null)><(null)></(null)><(null)></(null)>"
                               "<(null)><(null)></(null)></(null)></(null)>"}}),
      kindOf<sqm::SQMClientRecord>({.id = "Client",
                                    .goldenFile = "client_record.xml",
                                    .recordName = "client",
                                    .minimal = "<client><F6 timestamp=\"0000000000\">V6</F6></client>",
                                    .highestField = 7,
                                    .fieldRejected = 3,
                                    .plainSetterNameMissing = 3,
                                    .absentValueRemoves = true,
                                    .clearKeepsValues = true}),
      kindOf<sqm::SQMDeviceRecord>({.id = "Device",
                                    .goldenFile = "device_record.xml",
                                    .recordName = "device",
                                    .subType = "F63",
                                    .minimal = "<F63><F6 timestamp=\"0000000000\">V6</F6><F43></F43></F63>"}),
      kindOf<sqm::SQMApplicationRecord>(
          {.id = "Application",
           .goldenFile = "application_record.xml",
           .recordName = "application",
           .subType = "vpn",
           .requiredMissing = 4,
           .minimal = "<vpn><F6 timestamp=\"0000000000\">V6</F6><F75></F75><F76></F76><F13></F13><F86></F86>"
                      "<gateway></gateway></vpn>",
           .withoutResource = {0,
                               "<vpn><(null) timestamp=\"0000000000\"></(null)><(null)></(null)><(null)></(null)>"
                               "<(null)></(null)><(null)></(null)><gateway></gateway></vpn>"}}),
      kindOf<sqm::SQMUserAcceptanceRecord>(
          {.id = "UserAcceptance",
           .goldenFile = "user_acceptance_record.xml",
           .recordName = "useracceptance",
           .requiredKey = "6",
           .minimal = "<userAcceptance><F6 timestamp=\"0000000000\">V6</F6><F13></F13><F88></F88><F89></F89>"
                      "<F90></F90></userAcceptance>"}),
  };
  return kinds;
}

std::unique_ptr<sqm::SQM> EveryKind::valid() {
  auto record = made();
  record->recordValues()->set(kind().requiredKey, "");
  record->recordValues()->set("F6", "V6");
  return record;
}

std::string idOf(const ::testing::TestParamInfo<KindCase>& tested) { return tested.param.id; }
