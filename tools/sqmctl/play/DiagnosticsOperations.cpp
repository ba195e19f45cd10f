// The operations of the diagnostics record that the process shares.

#include <array>
#include <iterator>
#include <memory>

#include "tools/sqmctl/play/Operation.h"

namespace sqmctl::play {

namespace {

using Record = sqm::SQMDiagnosticsRecord;

constexpr struct {
  std::string_view name;
  void (Record::*set)(Record::Text text);
} kTexts[] = {
    {"ssid", &Record::setSsid},
    {"sigStrength", &Record::setSigStrength},
    {"security", &Record::setSecurity},
    {"apmac", &Record::setApmac},
    {"nic", &Record::setNic},
    {"ravixUrl", &Record::setRavixUrl},
    {"ravixUagent", &Record::setRavixUagent},
    {"ravixResp", &Record::setRavixResp},
    {"ravixHttpStatusCode", &Record::setRavixHttpStatusCode},
    {"authProtocol", &Record::setAuthProtocol},
    {"dirID", &Record::setDirID},
    {"authUagent", &Record::setAuthUagent},
    {"loginURL", &Record::setLoginURL},
    {"errorCode", &Record::setErrorCode},
    {"errorDetails", &Record::setErrorDetails},
};

constexpr struct {
  std::string_view name;
  void (Record::*set)(Record::Array array);
} kArrays[] = {
    {"discoveryDetails", &Record::setDiscoveryDetails},
    {"loginPollDetails", &Record::setLoginPollDetails},
};

constexpr auto kProperties = [] {
  std::array<Argument, std::size(kTexts) + std::size(kArrays)> arguments{};
  std::size_t at = 0;
  for (const auto& text : kTexts) arguments[at++] = optionalNullable(text.name, kText);
  for (const auto& array : kArrays) arguments[at++] = optionalNullable(array.name, kEntries);
  return arguments;
}();

Result set(Player& player, const Arguments& arguments) {
  for (const auto& [name, setText] : kTexts) {
    if (arguments.has(name)) (player.diagnostics().*setText)(arguments.text(name));
  }
  for (const auto& [name, setArray] : kArrays) {
    if (!arguments.has(name)) continue;
    const sqm::JsonArray* entries = arguments.list(name);
    (player.diagnostics().*setArray)(entries == nullptr ? nullptr : std::make_shared<sqm::JsonArray>(*entries));
  }
  return nullptr;
}

/// Appends to one of the arrays, unless it is absent.
template <const Record::Array& (Record::*array)() const>
Result append(Player& player, const Arguments& arguments) {
  if (const Record::Array& entries = (player.diagnostics().*array)()) entries->push_back(arguments.value("entry"));
  return nullptr;
}

constexpr Argument kEntryAlone[] = {required("entry", kEntry)};

constexpr Operation kOperations[] = {
    {"diagnostics.set", kProperties, set},
    {"diagnostics.appendDiscovery", kEntryAlone, append<&Record::discoveryDetails>},
    {"diagnostics.appendLoginPoll", kEntryAlone, append<&Record::loginPollDetails>},
    {"diagnostics.reset", {}, plain<&Player::diagnostics, &Record::resetDiagnosticsRecord>},
    {"diagnostics.resetProbe", {}, plain<&Player::diagnostics, &Record::resetRavixDiagnosticsRecord>},
    {"diagnostics.blob",
     {},
     [](Player& player, const Arguments&) -> Result { return player.diagnostics().formattedDiagnosticJsonBlob(); }},
};

}  // namespace

std::span<const Operation> diagnosticsOperations() { return kOperations; }

}  // namespace sqmctl::play
