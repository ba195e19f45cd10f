#include "tools/collector/service/ConnectionFact.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "sqm/common/internal/Utf8.h"
#include "sqm/common/internal/XmlText.h"
#include "sqm/store/RecordTypes.h"

#include "tools/support/Number.h"
#include "tools/support/WallClock.h"

namespace collector {

namespace {

using namespace std::chrono;
using tools::numberIn;
using Fact = ConnectionFact;

constexpr std::string_view kConnection = rowOf(sqm::RecordType::connection).name;
constexpr std::string_view kApplication = rowOf(sqm::RecordType::application).name;
constexpr std::string_view kClient = rowOf(sqm::RecordType::client).name;

constexpr Fact::Time kEarliest = sys_days(year(2000) / 1 / 1);
constexpr double kLongestConnecting = 3600;  // seconds
constexpr int kWeakestSignal = -150;         // dBm
constexpr int kStrongestSignal = -1;         // dBm; 0 stands for none

/// A text of a client, fit to be kept and shown.
std::string plain(std::string_view text) {
  std::string kept;
  sqm::appendXmlAllowed(kept, text.substr(0, sqm::utf8PrefixLength(text, kLongestFactText)));
  std::ranges::replace_if(
      kept, [](char each) { return each == '\t' || each == '\n' || each == '\r'; }, ' ');
  kept.resize(sqm::utf8PrefixLength(kept, kLongestFactText));
  return kept;
}

Fact::Medium mediumOf(const Record& record, const FieldMapping& mapping) {
  if (record.type == kApplication) return Fact::Medium::vpn;
  const std::string_view element = record.subType ? std::string_view(*record.subType) : std::string_view();
  if (mapping.is(Meaning::isWiFi, element)) return Fact::Medium::wiFi;
  if (mapping.is(Meaning::isMobile, element)) return Fact::Medium::mobile;
  if (mapping.is(Meaning::isEthernet, element)) return Fact::Medium::ethernet;
  return Fact::Medium::unknown;
}

Fact::Outcome outcomeOf(std::string_view status, bool isStart, const FieldMapping& mapping) {
  if (mapping.is(Meaning::isFailed, status)) return Fact::Outcome::failed;
  if (mapping.is(Meaning::isConnected, status)) return Fact::Outcome::connected;
  if (!isStart && mapping.is(Meaning::isDropped, status)) return Fact::Outcome::dropped;
  return Fact::Outcome::unknown;
}

std::optional<milliseconds> connectingIn(std::string_view text) {
  const auto number = numberIn<double>(text);
  if (!number || !(*number >= 0 && *number <= kLongestConnecting)) return std::nullopt;
  return milliseconds(std::llround(*number * 1000));
}

std::optional<std::int32_t> signalIn(std::string_view text) {
  const auto number = numberIn<std::int32_t>(text);
  return number && *number >= kWeakestSignal && *number <= kStrongestSignal ? number : std::nullopt;
}

}  // namespace

std::optional<Fact::Time> timeIn(std::string_view text) {
  constexpr std::int64_t kLastDate = 99'991'231;                  // as ISO 8601 may be written, too
  constexpr std::int64_t kFirstInMilliseconds = 100'000'000'000;  // in seconds, the year 5138
  std::optional<Fact::Time> time;
  if (const auto number = numberIn<std::int64_t>(text); number && *number > kLastDate) {
    time = Fact::Time(*number < kFirstInMilliseconds ? milliseconds(*number * 1000) : milliseconds(*number));
  } else if (const auto clock = tools::wallClockOf(text)) {
    time = Fact::Time(floor<milliseconds>(clock->time.time_since_epoch() - clock->aheadOfGmt.value_or(0s)));
  }
  return time >= kEarliest ? time : std::nullopt;
}

std::optional<Fact> factOf(const Record& record, const FieldMapping& mapping, Fact::Time arrival) {
  if (record.type != kConnection && record.type != kApplication) return std::nullopt;
  const auto value = [&](Meaning field) { return mapping.valueOf(field, record.values); };
  const std::string_view event = value(Meaning::event);
  const bool isStart = mapping.is(Meaning::isStart, event);
  if (!isStart && !mapping.is(Meaning::isStop, event)) return std::nullopt;
  const auto time = timeIn(value(Meaning::time));
  const bool isVpn = record.type == kApplication;
  const std::string_view roaming = value(Meaning::roaming);
  Fact fact{
      .time = std::min(time.value_or(arrival), arrival),
      .age = time ? std::optional(std::max(arrival - *time, milliseconds(0))) : std::nullopt,
      .medium = mediumOf(record, mapping),
      .isStart = isStart,
      .outcome = outcomeOf(value(Meaning::status), isStart, mapping),
      .client = plain(value(Meaning::client)),
      .session = plain(value(isVpn ? Meaning::vpnProfile : Meaning::session)),
      .network = plain(value(isVpn ? Meaning::gateway : Meaning::network)),
      .reason = plain(value(Meaning::reason)),
      .technology = plain(value(Meaning::technology)),
      .version = plain(value(Meaning::version)),
      .connecting = connectingIn(value(Meaning::connectSeconds)),
      .signal = signalIn(value(Meaning::signal)),
  };
  if (!roaming.empty()) fact.isRoaming = mapping.is(Meaning::isRoaming, roaming);
  return fact;
}

std::optional<ClientVersion> clientVersionOf(const Record& record, const FieldMapping& mapping) {
  if (record.type != kClient) return std::nullopt;
  ClientVersion found{.client = plain(mapping.valueOf(Meaning::client, record.values)),
                      .version = plain(mapping.valueOf(Meaning::version, record.values))};
  return found.client.empty() || found.version.empty() ? std::nullopt : std::optional(std::move(found));
}

}  // namespace collector
