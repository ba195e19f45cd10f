#include "tools/sqmctl/play/Iso8601.h"

#include <cstddef>

namespace sqmctl::play {

namespace {

using namespace std::chrono;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Reads a text from the front and removes what it has read.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  bool isAtEnd() const { return rest_.empty(); }
  char next() const { return rest_.empty() ? '\0' : rest_.front(); }

  bool take(char c) {
    if (next() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }

  /// A number of exactly `digits` digits, at most `highest`.
  std::optional<int> number(std::size_t digits, int highest) {
    if (rest_.size() < digits) return std::nullopt;
    int value = 0;
    for (const char c : rest_.substr(0, digits)) {
      if (!isDigit(c)) return std::nullopt;
      value = value * 10 + (c - '0');
    }
    if (value > highest) return std::nullopt;
    rest_.remove_prefix(digits);
    return value;
  }

  /// The digits of a fraction, as microseconds. Digits after the sixth are ignored.
  std::optional<microseconds> fraction() {
    if (!isDigit(next())) return std::nullopt;
    microseconds value{0};
    for (microseconds unit = 100ms; isDigit(next()); unit /= 10) {
      value += unit * (next() - '0');
      take(next());
    }
    return value;
  }

 private:
  std::string_view rest_;
};

/// "01:00", "0100" or "01".
std::optional<seconds> offset(Reader& reader) {
  const auto hour = reader.number(2, 23);
  if (!hour) return std::nullopt;
  const bool hasColon = reader.take(':');
  if (!hasColon && !isDigit(reader.next())) return hours(*hour);
  const auto minute = reader.number(2, 59);
  if (!minute) return std::nullopt;
  return hours(*hour) + minutes(*minute);
}

/// "10:00", "10:00:00" or "10:00:00.25", and the same without colons.
std::optional<microseconds> timeOfDay(Reader& reader) {
  const auto hour = reader.number(2, 23);
  const bool hasColons = reader.take(':');
  const auto minute = reader.number(2, 59);
  if (!hour || !minute) return std::nullopt;
  microseconds time = hours(*hour) + minutes(*minute);
  if (hasColons ? !reader.take(':') : !isDigit(reader.next())) return time;
  const auto second = reader.number(2, 59);
  if (!second) return std::nullopt;
  time += seconds(*second);
  if (!reader.take('.') && !reader.take(',')) return time;
  const auto fraction = reader.fraction();
  if (!fraction) return std::nullopt;
  return time + *fraction;
}

}  // namespace

std::optional<WallClock> wallClockOf(std::string_view iso8601) {
  Reader reader(iso8601);
  const auto yearNumber = reader.number(4, 9999);
  const bool hasDashes = reader.take('-');
  const auto monthNumber = reader.number(2, 12);
  if (hasDashes && !reader.take('-')) return std::nullopt;
  const auto dayNumber = reader.number(2, 31);
  if (!yearNumber || !monthNumber || !dayNumber) return std::nullopt;
  const year_month_day date(year(*yearNumber), month(static_cast<unsigned>(*monthNumber)),
                            day(static_cast<unsigned>(*dayNumber)));
  if (!date.ok() || *yearNumber == 0) return std::nullopt;

  WallClock clock{local_days(date), std::nullopt};
  if (reader.isAtEnd()) return clock;
  if (!reader.take('T')) return std::nullopt;
  const auto time = timeOfDay(reader);
  if (!time) return std::nullopt;
  clock.time += *time;
  if (reader.take('Z')) {
    clock.aheadOfGmt = 0s;
  } else if (reader.next() == '+' || reader.next() == '-') {
    const bool isBehind = reader.take('-') || !reader.take('+');
    const auto ahead = offset(reader);
    if (!ahead) return std::nullopt;
    clock.aheadOfGmt = isBehind ? -*ahead : *ahead;
  }
  return reader.isAtEnd() ? std::optional(clock) : std::nullopt;
}

}  // namespace sqmctl::play
