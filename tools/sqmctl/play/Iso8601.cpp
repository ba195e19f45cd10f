#include "tools/sqmctl/play/Iso8601.h"

#include <cstddef>
#include <regex>
#include <string>

namespace sqmctl::play {

using namespace std::chrono;

std::optional<WallClock> wallClockOf(std::string_view iso8601) {
  // A text uses dashes and colons everywhere or nowhere. std::regex recurses once for each character: hence the limit.
  static const std::regex kForm(R"((\d{4})(-?)(\d\d)\2(\d\d))"                           // date
                                R"((?:T([01]\d|2[0-3])(:?)([0-5]\d)(?:\6([0-5]\d))"      // time of day
                                R"((?:[.,](\d+))?)?)"                                    // fraction
                                R"((?:(Z)|([+-])([01]\d|2[0-3])(?::?([0-5]\d))?)?)?)");  // offset
  constexpr std::size_t kLongest = 1000;
  std::match_results<std::string_view::const_iterator> found;
  if (iso8601.size() > kLongest || !std::regex_match(iso8601.begin(), iso8601.end(), found, kForm)) return std::nullopt;
  const auto number = [&](std::size_t group) { return found[group].matched ? std::stoi(found[group].str()) : 0; };

  const year_month_day date(year(number(1)), month(static_cast<unsigned>(number(3))),
                            day(static_cast<unsigned>(number(4))));
  if (!date.ok() || date.year() == year(0)) return std::nullopt;
  const std::string fraction = (found[9].str() + "000000").substr(0, 6);
  WallClock clock{
      local_days(date) + hours(number(5)) + minutes(number(7)) + seconds(number(8)) + microseconds(std::stoi(fraction)),
      std::nullopt};
  if (found[10].matched) clock.aheadOfGmt = 0s;
  const seconds offset = hours(number(12)) + minutes(number(13));
  if (found[11].matched) clock.aheadOfGmt = found[11].str() == "-" ? -offset : offset;
  return clock;
}

}  // namespace sqmctl::play
