#pragma once

#include <string_view>

namespace sqm {

/// The user's preferences that records need.
class UserPrefs {
 public:
  virtual ~UserPrefs() = default;

  /// The value of the attribute `timestamp` in the first element of every record, quotes included
  /// ("\"2026-11-21T10:00:00Z\""); it is inserted unchanged. Empty when there is none. Valid until the preferences
  /// change.
  virtual std::string_view clientTimeStamp() const = 0;
};

}  // namespace sqm
