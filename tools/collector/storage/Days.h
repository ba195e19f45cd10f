#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace collector {

// Days are written "20261122", so that their order is that of the texts.

/// The day of a time in ISO 8601. A text that is no such time is of the first day of 1970.
std::string dayOf(std::string_view time);

/// The first of so many days up to today, in UTC.
std::string firstOfDays(int number);

/// The first minute of a day, in minutes since 1970.
std::int64_t firstMinuteOf(const std::string& day);

}  // namespace collector
