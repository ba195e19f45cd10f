#include "tools/collector/service/FieldMapping.h"

#include <algorithm>
#include <bitset>
#include <fstream>
#include <stdexcept>
#include <strings.h>

namespace collector {

namespace {

/// A meaning as it is written in a file, with its default texts, separated by commas.
struct MeaningRow {
  Meaning meaning;
  std::string_view name;
  std::string_view defaults;
  std::string_view description;
};

constexpr std::string_view kFieldsTitle = "Fields: the names under which records have them.";
constexpr std::string_view kTextsTitle = "Texts: what a field contains, in any case of letters.";

constexpr std::array<MeaningRow, kMeanings> kRows = {{
    {Meaning::client, "client", "clientId,userName", "the client; averages count each client once for a network"},
    {Meaning::session, "session", "sessionId", "one connection attempt, in its start and in its stop"},
    {Meaning::event, "event", "event,vpnEvent", "the start or the stop of a connection or a VPN session"},
    {Meaning::index, "index", "recordIndex,vpnIndex", "the number of the record in its session"},
    {Meaning::time, "time", "eventTime", "ISO 8601, or seconds or milliseconds since 1970; UTC without a zone"},
    {Meaning::version, "version", "productVersion,vpnClientVersion", "the client's version"},
    {Meaning::network, "network", "ssid,carrier,operatorName", "the network that a connection uses"},
    {Meaning::status, "status", "connectionStatus,vpnResult", "how an attempt, or a connection, ended"},
    {Meaning::reason, "reason", "disconnectReason,vpnDisconnectReason,loginResult,vpnStatus", "why it ended so"},
    {Meaning::connectSeconds, "connect-seconds", "loginSeconds,attachSeconds,vpnSetupSeconds",
     "the time that connecting took, in seconds"},
    {Meaning::signal, "signal", "signalStrength,receivedPower", "the strength of the signal, in dBm"},
    {Meaning::technology, "technology", "technology,radioType", "the radio technology"},
    {Meaning::roaming, "roaming", "roaming", "whether the connection is abroad"},
    {Meaning::vpnProfile, "vpn-profile", "vpnProfile", "the profile of a VPN session"},
    {Meaning::gateway, "gateway", "gateway", "the gateway of a VPN session"},
    {Meaning::isStart, "is-start", "start", "an event that begins a connection or a VPN session"},
    {Meaning::isStop, "is-stop", "stop", "an event that ends one"},
    {Meaning::isWiFi, "is-wifi", "wifi", "the element around a Wi-Fi connection's fields"},
    {Meaning::isMobile, "is-mobile", "mobile", "the element around a mobile-broadband connection's fields"},
    {Meaning::isEthernet, "is-ethernet", "ethernet", "the element around a wired connection's fields"},
    {Meaning::isConnected, "is-connected", "connected,success", "a status: the attempt succeeded"},
    {Meaning::isFailed, "is-failed", "failed,fail", "a status: the attempt failed"},
    {Meaning::isDropped, "is-dropped", "dropped", "a stop's status: the connection ended against the user's will"},
    {Meaning::isRoaming, "is-roaming", "1,true,yes,roaming", "a value of roaming: abroad"},
}};

constexpr bool isInOrder() {
  for (std::size_t at = 0; at < kRows.size(); ++at) {
    if (static_cast<std::size_t>(kRows[at].meaning) != at) return false;
  }
  return true;
}
static_assert(isInOrder(), "each meaning has the row of its number");

constexpr std::size_t indexOf(Meaning meaning) { return static_cast<std::size_t>(meaning); }

/// Calls `take` with each default text of a meaning.
template <typename Take>
void forEachDefault(const MeaningRow& row, const Take& take) {
  for (std::string_view rest = row.defaults; !rest.empty();) {
    const auto end = std::min(rest.find(','), rest.size());
    take(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kSpace = " \t\r";
  const auto begin = std::min(text.find_first_not_of(kSpace), text.size());
  return text.substr(begin, text.find_last_not_of(kSpace) + 1 - begin);
}

std::string allNames() {
  std::string names;
  for (const MeaningRow& row : kRows) names.append(names.empty() ? "" : ", ").append(row.name);
  return names;
}

}  // namespace

FieldMapping::FieldMapping() {
  for (const MeaningRow& row : kRows) {
    forEachDefault(row, [&](std::string_view text) { texts_[indexOf(row.meaning)].emplace_back(text); });
  }
}

FieldMapping FieldMapping::ofFile(const std::string& file) {
  std::ifstream lines(file);
  FieldMapping mapping = ofLines(lines, file);
  if (!lines.is_open() || lines.bad()) throw std::invalid_argument("'" + file + "' cannot be read");
  return mapping;
}

FieldMapping FieldMapping::ofLines(std::istream& lines, const std::string& file) {
  FieldMapping mapping;
  std::bitset<kMeanings> isChanged;
  std::string whole;
  for (std::size_t number = 1; std::getline(lines, whole); ++number) {
    const std::string_view line = trimmed(whole);
    if (line.empty() || line.starts_with('#')) continue;
    const auto fail = [&](const std::string& problem) {
      throw std::invalid_argument(std::string(file).append(":").append(std::to_string(number)) + ": " + problem);
    };
    const auto equals = line.find('=');
    if (equals == std::string_view::npos) fail("a line is to be 'meaning = text', such as 'client = clientId'");
    const std::string_view name = trimmed(line.substr(0, equals));
    const auto* const row = std::ranges::find(kRows, name, &MeaningRow::name);
    if (row == kRows.end()) fail("'" + std::string(name) + "' is no meaning; the meanings are " + allNames());
    const std::size_t at = indexOf(row->meaning);
    if (!isChanged[at]) mapping.texts_[at].clear();
    isChanged.set(at);
    if (const auto text = trimmed(line.substr(equals + 1)); !text.empty()) mapping.texts_[at].emplace_back(text);
  }
  return mapping;
}

std::string FieldMapping::defaultText() {
  std::string text =
      "# What the fields of records mean, for sqm-collector --fields. A line is 'meaning = text'. Several lines of a\n"
      "# meaning give it several texts: of a field's names, the first that has a value counts. An empty text takes "
      "the\n"
      "# meaning from every field. A meaning that is left out keeps what is here.\n";
  for (const MeaningRow& row : kRows) {
    if (row.meaning == Meaning::client) text.append("\n# ").append(kFieldsTitle).append("\n");
    if (row.meaning == Meaning::isStart) text.append("\n# ").append(kTextsTitle).append("\n");
    text.append("\n# ").append(row.description).append("\n");
    forEachDefault(row, [&](std::string_view one) { text.append(row.name).append(" = ").append(one).append("\n"); });
  }
  return text;
}

std::string_view FieldMapping::valueOf(Meaning field, const FieldValues& values) const {
  for (const std::string& name : texts_[indexOf(field)]) {
    for (const auto& [known, value] : values) {
      if (known == name && !value.empty()) return value;
    }
  }
  return {};
}

bool FieldMapping::is(Meaning text, std::string_view value) const {
  return std::ranges::any_of(texts_[indexOf(text)], [&](const std::string& known) {
    return known.size() == value.size() && strncasecmp(known.data(), value.data(), value.size()) == 0;
  });
}

}  // namespace collector
