#include "tools/support/WallClock.h"

#include <cstddef>

namespace tools {

namespace {

using namespace std::chrono;

/// Takes parts from the beginning of a text. The first part that is missing makes the whole text wrong.
class Parts {
 public:
  explicit Parts(std::string_view text) : rest_(text) {}

  bool isWhole() const { return isRight_ && rest_.empty(); }

  bool takeIf(char character) {
    if (!rest_.starts_with(character)) return false;
    rest_.remove_prefix(1);
    return true;
  }

  void expect(char character) { isRight_ &= takeIf(character); }

  /// A number of so many digits, up to `most`.
  int number(std::size_t digits, int most) {
    int found = 0;
    for (std::size_t at = 0; at < digits; ++at) {
      if (!hasDigit()) return fail();
      found = found * 10 + (rest_.front() - '0');
      rest_.remove_prefix(1);
    }
    return found <= most ? found : fail();
  }

  /// The fraction of a second: digits, of which the first six count.
  microseconds fraction() {
    microseconds found{0};
    if (!hasDigit()) fail();
    for (microseconds unit{100'000}; hasDigit(); unit /= 10) {
      found += unit * (rest_.front() - '0');
      rest_.remove_prefix(1);
    }
    return found;
  }

  /// True when a digit comes next.
  bool hasDigit() const { return !rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9'; }

 private:
  int fail() {
    isRight_ = false;
    return 0;
  }

  std::string_view rest_;
  bool isRight_ = true;
};

/// The time of day after the T, with colons everywhere or nowhere.
microseconds timeOfDayIn(Parts& parts) {
  microseconds time = hours(parts.number(2, 23));
  const bool hasColons = parts.takeIf(':');
  time += minutes(parts.number(2, 59));
  if (hasColons ? !parts.takeIf(':') : !parts.hasDigit()) return time;
  time += seconds(parts.number(2, 59));
  if (parts.takeIf('.') || parts.takeIf(',')) time += parts.fraction();
  return time;
}

std::optional<seconds> offsetIn(Parts& parts) {
  if (parts.takeIf('Z')) return 0s;
  const bool isBehind = parts.takeIf('-');
  if (!isBehind && !parts.takeIf('+')) return std::nullopt;
  seconds offset = hours(parts.number(2, 23));
  if (parts.takeIf(':') || parts.hasDigit()) offset += minutes(parts.number(2, 59));
  return isBehind ? -offset : offset;
}

}  // namespace

std::optional<WallClock> wallClockOf(std::string_view iso8601) {
  Parts parts(iso8601);
  const year inYear(parts.number(4, 9999));
  const bool hasDashes = parts.takeIf('-');
  const month inMonth(static_cast<unsigned>(parts.number(2, 12)));
  if (hasDashes) parts.expect('-');
  const year_month_day date(inYear, inMonth, day(static_cast<unsigned>(parts.number(2, 31))));
  if (!date.ok() || inYear == year(0)) return std::nullopt;
  WallClock clock{local_days(date), std::nullopt};
  if (parts.takeIf('T')) {
    clock.time += timeOfDayIn(parts);
    clock.aheadOfGmt = offsetIn(parts);
  }
  return parts.isWhole() ? std::optional(clock) : std::nullopt;
}

}  // namespace tools
