#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "sqm/common/Clock.h"

namespace sqm {

/// The system's time zone, and the text of dates in it.
///
/// Threading: any thread.
/// Failure: an empty text for an invalid pattern.
class Dates {
 public:
  virtual ~Dates() = default;

  /// The zone's offset from GMT at that moment, summer time included; negative west of Greenwich.
  virtual std::chrono::seconds secondsFromGMT(Date at) const = 0;

  /// Formats the date in the zone by a Unicode date pattern (Unicode Technical Standard #35, "Date Format Patterns").
  /// The text does not depend on the user's language: it uses the Gregorian calendar and the digits 0 to 9; weeks begin
  /// on Sunday, and the first week of a year is the one that contains 1 January.
  virtual std::string text(Date date, std::string_view pattern) const = 0;
};

}  // namespace sqm
