#pragma once

#include <string>
#include <string_view>

#include "sqm/common/Dates.h"

namespace sqm::platform {

/// Dates formatted by the ICU library in the locale `en_US_POSIX`.
///
/// Threading: any thread.
class IcuDates : public Dates {
 public:
  /// Uses the system's zone. It is looked up in every call, so that a changed setting takes effect at once.
  IcuDates() = default;

  /// Uses a zone of the IANA time zone database ("Asia/Kolkata"); GMT for an unknown name.
  explicit IcuDates(std::string zone) : zone_(std::move(zone)) {}

  /// True when the IANA time zone database contains a zone of this name.
  static bool isZone(std::string_view name);

  std::chrono::seconds secondsFromGMT(Date at) const override;
  std::string text(Date date, std::string_view pattern) const override;

 private:
  std::string zone_;  // empty: the system's
};

}  // namespace sqm::platform
