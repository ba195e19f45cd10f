#include <array>
#include <memory>
#include <new>
#include <string>

#include "sqm/diagnostics/SQMDiagnosticsRecord.h"

#include "faces/c/internal/Objects.h"
#include "faces/c/internal/Tables.h"

using namespace sqm::c;  // NOLINT(google-build-using-namespace): the functions are in the global namespace
using Record = sqm::SQMDiagnosticsRecord;

struct sqm_diagnostics {
  SharedHost host;
  std::shared_ptr<Record> record;
  bool isShared = false;  // by the process: never destroyed
};

namespace {

struct Property {
  std::int32_t number;
  const Record::Text& (Record::*get)() const;
  void (Record::*set)(Record::Text text);
};

constexpr Property kProperties[] = {
    {SQM_DIAGNOSTICS_SSID, &Record::ssid, &Record::setSsid},
    {SQM_DIAGNOSTICS_SIGNAL_STRENGTH, &Record::sigStrength, &Record::setSigStrength},
    {SQM_DIAGNOSTICS_SECURITY, &Record::security, &Record::setSecurity},
    {SQM_DIAGNOSTICS_AP_MAC, &Record::apmac, &Record::setApmac},
    {SQM_DIAGNOSTICS_NIC, &Record::nic, &Record::setNic},
    {SQM_DIAGNOSTICS_PROBE_URL, &Record::ravixUrl, &Record::setRavixUrl},
    {SQM_DIAGNOSTICS_PROBE_USER_AGENT, &Record::ravixUagent, &Record::setRavixUagent},
    {SQM_DIAGNOSTICS_PROBE_RESPONSE, &Record::ravixResp, &Record::setRavixResp},
    {SQM_DIAGNOSTICS_PROBE_HTTP_STATUS, &Record::ravixHttpStatusCode, &Record::setRavixHttpStatusCode},
    {SQM_DIAGNOSTICS_AUTH_PROTOCOL, &Record::authProtocol, &Record::setAuthProtocol},
    {SQM_DIAGNOSTICS_DIRECTORY_ID, &Record::dirID, &Record::setDirID},
    {SQM_DIAGNOSTICS_AUTH_USER_AGENT, &Record::authUagent, &Record::setAuthUagent},
    {SQM_DIAGNOSTICS_LOGIN_URL, &Record::loginURL, &Record::setLoginURL},
    {SQM_DIAGNOSTICS_ERROR_CODE, &Record::errorCode, &Record::setErrorCode},
    {SQM_DIAGNOSTICS_ERROR_DETAILS, &Record::errorDetails, &Record::setErrorDetails},
};

struct Array {
  std::int32_t number;
  const Record::Array& (Record::*get)() const;
  void (Record::*set)(Record::Array array);
  Record::Text (Record::*json)() const;
};

constexpr Array kArrays[] = {
    {SQM_DIAGNOSTICS_DISCOVERY, &Record::discoveryDetails, &Record::setDiscoveryDetails,
     &Record::formatDiscoveryDetails},
    {SQM_DIAGNOSTICS_LOGIN_POLL, &Record::loginPollDetails, &Record::setLoginPollDetails,
     &Record::formatLoginPollDetails},
};

static_assert(isInOrder(kProperties) && isInOrder(kArrays));

const Property& propertyOf(std::int32_t number) { return rowOf(kProperties, number, "there is no such property"); }

const Array& arrayOf(std::int32_t number) { return rowOf(kArrays, number, "there is no such array"); }

/// Appends an entry to an array, which is made when it is absent.
template <typename MakeEntry>
sqm_status add(sqm_diagnostics* diagnostics, std::int32_t number, MakeEntry&& entry) {
  return attempt([&] {
    Record& record = *on(diagnostics).record;
    const Array& array = arrayOf(number);
    if (!(record.*array.get)()) (record.*array.set)(std::make_shared<sqm::JsonArray>());
    (record.*array.get)()->push_back(entry());
  });
}

/// The handle of the process's record, with the host that the record was made with.
struct SharedDiagnostics {
  SharedDiagnostics() {
    const SharedHost host = installedHost();
    const std::shared_ptr<Record> record(Record::sharedSQMDiagnosticsRecord(), [](Record*) {});
    handle = newHandle<sqm_diagnostics>([&] {
      return std::make_unique<sqm_diagnostics>(sqm_diagnostics{host, record, true});
    });
    if (handle == nullptr) throw std::bad_alloc();
  }

  sqm_diagnostics* handle;
};

}  // namespace

sqm_diagnostics* sqm_diagnostics_create(sqm_host* host) {
  return newHandle<sqm_diagnostics>([&] {
    const SharedHost& state = on(host).state;
    return std::make_unique<sqm_diagnostics>(sqm_diagnostics{state, std::make_shared<Record>(state->host)});
  });
}

sqm_diagnostics* sqm_diagnostics_shared(void) {
  return valueOr<sqm_diagnostics*>(nullptr, [] { return immortal<SharedDiagnostics>().handle; });
}

void sqm_diagnostics_destroy(sqm_diagnostics* diagnostics) {
  if (diagnostics == nullptr || !on(diagnostics).isShared) destroy(diagnostics);
}

sqm_status sqm_diagnostics_set(sqm_diagnostics* diagnostics, int32_t property, const char* value) {
  return attempt([&] { (*on(diagnostics).record.*propertyOf(property).set)(ownedTextOf(value)); });
}

char* sqm_diagnostics_get(const sqm_diagnostics* diagnostics, int32_t property) {
  return textFrom([&] { return (*on(diagnostics).record.*propertyOf(property).get)(); });
}

sqm_status sqm_diagnostics_add_text(sqm_diagnostics* diagnostics, int32_t array, const char* value) {
  return add(diagnostics, array, [&]() -> sqm::JsonValue {
    require(value != nullptr, "the text is NULL");
    return std::string(value);
  });
}

sqm_status sqm_diagnostics_add_object(sqm_diagnostics* diagnostics, int32_t array, const char* const* keys,
                                      const char* const* values, size_t count) {
  return add(diagnostics, array, [&]() -> sqm::JsonValue {
    require((keys != nullptr && values != nullptr) || count == 0, "the keys or the values are NULL");
    sqm::JsonObject object;
    for (std::size_t at = 0; at < count; ++at) {
      require(keys[at] != nullptr && values[at] != nullptr, "a key or a value is NULL");
      object.push_back({keys[at], values[at]});
    }
    return object;
  });
}

sqm_status sqm_diagnostics_add_json(sqm_diagnostics* diagnostics, int32_t array, const char* json) {
  return add(diagnostics, array, [&]() -> sqm::JsonValue {
    require(json != nullptr, "the JSON text is NULL");
    return sqm::JsonLiteral{json};
  });
}

sqm_status sqm_diagnostics_clear_array(sqm_diagnostics* diagnostics, int32_t array, bool is_absent) {
  return attempt([&] {
    Record& record = *on(diagnostics).record;
    (record.*arrayOf(array).set)(is_absent ? nullptr : std::make_shared<sqm::JsonArray>());
  });
}

char* sqm_diagnostics_array_json(const sqm_diagnostics* diagnostics, int32_t array) {
  return textFrom([&] { return (*on(diagnostics).record.*arrayOf(array).json)(); });
}

sqm_status sqm_diagnostics_reset(sqm_diagnostics* diagnostics) {
  return attempt([&] { on(diagnostics).record->resetDiagnosticsRecord(); });
}

sqm_status sqm_diagnostics_reset_probe(sqm_diagnostics* diagnostics) {
  return attempt([&] { on(diagnostics).record->resetRavixDiagnosticsRecord(); });
}

sqm_status sqm_diagnostics_validate(sqm_diagnostics* diagnostics) {
  return attempt([&] { on(diagnostics).record->validate(); });
}

char* sqm_diagnostics_report(sqm_diagnostics* diagnostics) {
  return textFrom([&] { return on(diagnostics).record->formattedDiagnosticJsonBlob(); });
}
