// Tables: the kinds of record, the texts for the client's codes, and facts about the environment.

#include <string_view>

#include "sqm/records/SQMApplicationRecHelper.h"
#include "sqm/records/SQMClientHelper.h"
#include "sqm/records/SQMUserAcceptRecHelper.h"
#include "sqm/store/RecordTypes.h"

#include "faces/c/internal/Objects.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace

namespace {

char* columnOf(std::int32_t recordType, std::string_view sqm::RecordTypeRow::*column) {
  return textFrom([&] {
    const auto type = static_cast<sqm::RecordType>(recordType);
    require(sqm::isRecordType(type), "there is no such kind of record");
    return sqm::rowOf(type).*column;
  });
}

const auto& applicationCodes() { return *sqm::SQMApplicationRecHelper::sharedSQMApplicationRecHelper(); }

sqm::SQMClientHelper environmentOf(sqm_host* host) { return sqm::SQMClientHelper(on(host).state->host); }

}  // namespace

char* sqm_record_type_name(int32_t record_type) { return columnOf(record_type, &sqm::RecordTypeRow::name); }

char* sqm_record_type_file(int32_t record_type) { return columnOf(record_type, &sqm::RecordTypeRow::file); }

char* sqm_record_type_element(int32_t record_type) { return columnOf(record_type, &sqm::RecordTypeRow::element); }

char* sqm_launch_type(int32_t code) {
  return textFrom([&] { return applicationCodes().launchType(code); });
}

char* sqm_connection_status(int32_t code) {
  return textFrom([&] { return applicationCodes().connectionStatusCode(code); });
}

char* sqm_connection_result(int32_t code) {
  return textFrom([&] { return applicationCodes().connectionResult(code); });
}

char* sqm_vpn_disconnect_reason(int32_t code) {
  return textFrom([&] { return applicationCodes().vpnDisconnectReasonCode(code); });
}

char* sqm_alert_message_type(int32_t code) {
  return textFrom([&] { return sqm::SQMUserAcceptRecHelper::sharedSQMUserAcceptRecHelper()->alertMessageType(code); });
}

char* sqm_host_locale_name(sqm_host* host) {
  return textFrom([&] { return environmentOf(host).getCurrentLocale(); });
}

char* sqm_host_os_name(sqm_host* host) {
  return textFrom([&] { return environmentOf(host).osName(); });
}

char* sqm_host_os_version(sqm_host* host) {
  return textFrom([&] { return environmentOf(host).getOSVersion(); });
}

char* sqm_host_environment_xml(sqm_host* host) {
  return textFrom([&] { return environmentOf(host).getEnvironmentInfoAsXMLString(); });
}

char* sqm_product_xml(void) {
  return textFrom([] { return sqm::SQMClientHelper::getProductInfoAsXMLString(); });
}
