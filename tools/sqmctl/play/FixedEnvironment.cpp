#include "tools/sqmctl/play/FixedEnvironment.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <stdlib.h>
#include <string_view>

#include "tools/sqmctl/Command.h"
#include "tools/support/WallClock.h"

namespace sqmctl::play {

namespace {

using namespace std::chrono;
using sqm::Date;
using sqm::platform::IcuDates;
using sqm::platform::IcuLocale;

constexpr Date kFirstDate = sys_days(year(1) / 1 / 1);
constexpr Date kLastDate = sys_days(year(10000) / 1 / 1) - microseconds(1);

/// The moment of a local time in the zone. A time that occurs twice, as at the end of summer time, means the earlier
/// moment. A time that does not occur, as at its beginning, is converted with the offset before the change.
Date momentOf(local_time<microseconds> shown, const IcuDates& dates) {
  const Date asIfGmt(shown.time_since_epoch());
  const auto before = dates.secondsFromGMT(asIfGmt - days(1));
  const auto after = dates.secondsFromGMT(asIfGmt + days(1));
  for (const auto ahead : {before, after}) {
    if (dates.secondsFromGMT(asIfGmt - ahead) == ahead) return asIfGmt - ahead;
  }
  return asIfGmt - before;
}

std::optional<StandingClock> clockAt(const std::optional<std::string>& time, const IcuDates& dates) {
  if (!time) return std::nullopt;
  const auto clock = tools::wallClockOf(*time);
  if (!clock) {
    throw Problem(kBadInput, "--time: \"" + *time +
                                 "\" is not an ISO 8601 date and time, such as 2026-11-21T10:00:00Z, "
                                 "2026-11-21T10:00:00+01:00 or, in the time of the zone, 2026-11-21T10:00:00");
  }
  return StandingClock(clock->aheadOfGmt ? Date(clock->time.time_since_epoch()) - *clock->aheadOfGmt
                                         : momentOf(clock->time, dates));
}

/// True when the machine's database contains the zone. It is preferred because it is updated more often than ICU's own.
bool isMachineZone(const std::string& name) {
  const std::filesystem::path inDatabase = std::filesystem::path(name).lexically_normal();
  if (name.empty() || inDatabase.is_absolute() || *inDatabase.begin() == "..") return false;
  std::ifstream file("/usr/share/zoneinfo" / inDatabase, std::ios::binary);
  std::array<char, 4> magic{};
  return file.read(magic.data(), magic.size()) && std::string_view(magic.data(), magic.size()) == "TZif";  // RFC 8536
}

IcuDates datesOf(const EnvironmentOptions& options) {
  if (!options.zone) return {};
  if (isMachineZone(*options.zone)) {
    ::setenv("TZ", options.zone->c_str(), /*overwrite=*/1);  // NOLINT(concurrency-mt-unsafe): no thread is running yet
    return {};
  }
  if (IcuDates::isZone(*options.zone)) return IcuDates(*options.zone);
  throw Problem(kBadInput, "--zone: unknown time zone \"" + *options.zone +
                               "\"; use a name of the IANA database, such as Europe/Berlin or UTC");
}

}  // namespace

void StandingClock::advance(double seconds) {
  constexpr double kMostMicroseconds = 4e17;  // more than the range of the clock
  const double wanted = std::clamp(seconds * 1e6, -kMostMicroseconds, kMostMicroseconds);
  date_ = std::clamp(date_ + microseconds(std::llround(wanted)), kFirstDate, kLastDate);
}

FixedEnvironment::FixedEnvironment(const EnvironmentOptions& options)
    : system_(options), dates_(datesOf(options)), clock_(clockAt(options.time, dates_)) {
  if (!options.locale) return;
  if (!IcuLocale::isLocale(*options.locale)) {
    throw Problem(kBadInput, "--locale: unknown locale \"" + *options.locale +
                                 "\"; use a language, or a language and a region, such as en_GB");
  }
  locale_.emplace(*options.locale);
}

void FixedEnvironment::replaceServicesOf(sqm::Host& host) {
  host.utilities = &system_;
  host.dates = &dates_;
  if (locale_) host.locale = &*locale_;
  if (clock_) host.clock = &*clock_;
}

}  // namespace sqmctl::play
