#pragma once

#include <string>
#include <string_view>

#include "sqm/common/Dates.h"

namespace sqm::platform {

/// Dates by the ICU library, in the locale `en_US_POSIX`.
///
/// Threading: any thread.
class IcuDates : public Dates {
 public:
  /// In the system's zone, found anew for every call, so that a journey or a changed setting shows at once.
  IcuDates() = default;

  /// In a zone by its name in the IANA time zone database ("Asia/Kolkata"); GMT for a name that is unknown.
  explicit IcuDates(std::string zone) : zone_(std::move(zone)) {}

  /// True when the IANA time zone database has a zone of this name.
  static bool isZone(std::string_view name);

  std::chrono::seconds secondsFromGMT(Date at) const override;
  std::string text(Date date, std::string_view pattern) const override;

 private:
  std::string zone_;  // empty: the system's
};

}  // namespace sqm::platform
