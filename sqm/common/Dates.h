#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "sqm/common/Clock.h"

namespace sqm {

/// The system's time zone, and dates written as its wall clock shows them.
///
/// Threading: any thread.
/// Failure: an empty text.
class Dates {
 public:
  virtual ~Dates() = default;

  /// How far the zone's wall clock is ahead of GMT at that moment, summer time included; negative west of Greenwich.
  virtual std::chrono::seconds secondsFromGMT(Date at) const = 0;

  /// The date in the zone, by a Unicode date pattern (Unicode Technical Standard #35, "Date Format Patterns").
  /// The text is the same whatever language the user has chosen: the Gregorian calendar, the digits 0 to 9, and weeks
  /// that begin on Sunday, the first of a year being the one that 1 January falls in.
  virtual std::string text(Date date, std::string_view pattern) const = 0;
};

}  // namespace sqm
