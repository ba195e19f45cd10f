#include "sqm/common/internal/TimeStamp.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace sqm {

namespace {

using namespace std::chrono;

void appendPadded(std::string& out, std::int64_t number, std::size_t digits) {
  const std::string text = std::to_string(number);
  if (text.size() < digits) out.append(digits - text.size(), '0');
  out.append(text);
}

std::string dateAndTime(sys_seconds moment, std::string_view dash, std::string_view t, std::string_view colon) {
  const sys_days midnight = floor<days>(moment);
  const year_month_day date(midnight);
  const hh_mm_ss time(moment - midnight);
  std::string text;
  appendPadded(text, static_cast<int>(date.year()), 4);
  appendPadded(text.append(dash), static_cast<unsigned>(date.month()), 2);
  appendPadded(text.append(dash), static_cast<unsigned>(date.day()), 2);
  appendPadded(text.append(t), time.hours().count(), 2);
  appendPadded(text.append(colon), time.minutes().count(), 2);
  appendPadded(text.append(colon), time.seconds().count(), 2);
  return text;
}

std::string isoDateAndTime(sys_seconds moment) { return dateAndTime(moment, "-", "T", ":"); }

}  // namespace

std::string isoTimeStamp(sys_seconds moment) { return isoDateAndTime(moment) + "Z"; }

std::string isoTimeStamp(sys_time<milliseconds> moment) {
  const auto second = floor<seconds>(moment);
  std::string text = isoDateAndTime(second) + ".";
  appendPadded(text, (moment - second).count(), 3);
  return text + "Z";
}

std::string compactTimeStamp(sys_seconds moment) { return dateAndTime(moment, "", "", ""); }

}  // namespace sqm
