#include "sqm/common/internal/TimeStamp.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace sqm {

namespace {

using namespace std::chrono;

void appendPadded(std::string& out, std::int64_t number, std::size_t digits) {
  std::array<char, 20> text;  // the longest number and its sign
  const char* const end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  const auto length = static_cast<std::size_t>(end - text.data());
  if (length < digits) out.append(digits - length, '0');
  out.append(text.data(), length);
}

void appendDateAndTime(std::string& out, sys_seconds moment, std::string_view dash, std::string_view t,
                       std::string_view colon) {
  const sys_days midnight = floor<days>(moment);
  const year_month_day date(midnight);
  const hh_mm_ss time(moment - midnight);
  appendPadded(out, static_cast<int>(date.year()), 4);
  appendPadded(out.append(dash), static_cast<unsigned>(date.month()), 2);
  appendPadded(out.append(dash), static_cast<unsigned>(date.day()), 2);
  appendPadded(out.append(t), time.hours().count(), 2);
  appendPadded(out.append(colon), time.minutes().count(), 2);
  appendPadded(out.append(colon), time.seconds().count(), 2);
}

}  // namespace

std::string isoTimeStamp(sys_seconds moment) {
  std::string text;
  appendDateAndTime(text, moment, "-", "T", ":");
  return text.append("Z");
}

std::string isoTimeStamp(sys_time<milliseconds> moment) {
  const auto second = floor<seconds>(moment);
  std::string text;
  appendDateAndTime(text, second, "-", "T", ":");
  appendPadded(text.append("."), (moment - second).count(), 3);
  return text.append("Z");
}

std::string compactTimeStamp(sys_seconds moment) {
  std::string text;
  appendDateAndTime(text, moment, "", "", "");
  return text;
}

}  // namespace sqm
