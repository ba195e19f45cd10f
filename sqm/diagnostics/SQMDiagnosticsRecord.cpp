#include "sqm/diagnostics/SQMDiagnosticsRecord.h"

#include <string_view>

#include "sqm/common/Format.h"
#include "sqm/common/Json.h"
#include "sqm/common/TextCompressor.h"

namespace sqm {

SQMDiagnosticsRecord* SQMDiagnosticsRecord::sharedSQMDiagnosticsRecord() {
  if (Host::installed() == nullptr) return nullptr;
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the process has one record, which changes
  static auto* const record = ::new SQMDiagnosticsRecord(*Host::installed());
  return record;
}

std::string SQMDiagnosticsRecord::formattedDiagnosticJsonBlob() {
  validate();
  const auto json = host_.jsonWriter->JSONString(report());
  if (!json) return "";
  std::string wrapped;
  const std::string_view arguments[] = {"Trace", *json};
  appendFormatted(wrapped, "{\"%@\":%@}", arguments);
  auto compressed = host_.compressor->compressStringWithEncoding(wrapped, kUtf8Encoding, kMostUnits);
  // Dropped as a whole: a part of it could not be decompressed.
  if (!compressed || compressed->size() > kMostUnits) return "";
  return *std::move(compressed);
}

JsonObject SQMDiagnosticsRecord::report() const {
  return {
      {"Error", JsonObject{{"Code", *errorCode_}, {"Details", *errorDetails_}}},
      {"Link", JsonObject{{"SSID", *ssid_}, {"Sig", *sigStrength_}, {"apmac", *apmac_}}},
      {"IP", JsonObject{{"NIC", *nic_}}},
      {"Ravix",
       JsonObject{{"URL", *ravixUrl_}, {"UA", *ravixUagent_}, {"Resp", *ravixResp_}, {"Stat", *ravixHttpStatusCode_}}},
      {"Auth", authentication()},
  };
}

/// Holds the arrays as JSON texts. If there is no text for an array, the object ends before that array's key.
JsonObject SQMDiagnosticsRecord::authentication() const {
  JsonObject object = {{"P", *authProtocol_}, {"Dir", *dirID_}};
  auto discovery = formatDiscoveryDetails();
  if (!discovery) return object;
  object.push_back({"Dis", *std::move(discovery)});
  object.push_back({"Login", *loginURL_});
  auto loginPoll = formatLoginPollDetails();
  if (!loginPoll) return object;
  object.push_back({"LoginPoll", *std::move(loginPoll)});
  return object;
}

SQMDiagnosticsRecord::Text SQMDiagnosticsRecord::formatted(const Array& array) const {
  if (!array || array->empty()) return "";
  return host_.jsonWriter->JSONString(*array);
}

void SQMDiagnosticsRecord::validate() {
  for (Text* text : {&ssid_, &sigStrength_, &apmac_, &nic_, &ravixUrl_, &ravixUagent_, &ravixResp_,
                     &ravixHttpStatusCode_, &authProtocol_, &dirID_, &loginURL_, &errorCode_, &errorDetails_}) {
    if (!*text) text->emplace();
  }
}

void SQMDiagnosticsRecord::resetDiagnosticsRecord() {
  for (Text* text :
       {&ssid_, &sigStrength_, &apmac_, &nic_, &authProtocol_, &dirID_, &loginURL_, &errorCode_, &errorDetails_}) {
    text->emplace();
  }
  for (const Array& array : {discoveryDetails_, loginPollDetails_}) {
    if (array) array->clear();
  }
}

void SQMDiagnosticsRecord::resetRavixDiagnosticsRecord() {
  for (Text* text : {&ravixUrl_, &ravixResp_, &ravixHttpStatusCode_}) text->emplace();
}

}  // namespace sqm
