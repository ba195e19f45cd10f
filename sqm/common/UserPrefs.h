#pragma once

#include <string_view>

namespace sqm {

/// The user's preferences, as far as records need them.
class UserPrefs {
 public:
  virtual ~UserPrefs() = default;

  /// The time stamp that the first element of every record carries, as a complete attribute value with its quotes
  /// ("\"2026-11-21T10:00:00Z\""), inserted as it stands; empty when there is none. Valid until the preferences change.
  virtual std::string_view clientTimeStamp() const = 0;
};

}  // namespace sqm
