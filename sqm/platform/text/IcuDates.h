#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "sqm/common/Dates.h"

namespace sqm::platform {

/// Dates formatted by the ICU library in the locale `en_US_POSIX`. The zone and the last pattern are kept.
///
/// Threading: any thread.
class IcuDates : public Dates {
 public:
  /// Uses the system's zone. It is looked up again once it has changed: at once after a change of the variable TZ;
  /// within a second after one of the file /etc/localtime, which counts while TZ is not set.
  IcuDates();

  /// Uses a zone of the IANA time zone database ("Asia/Kolkata"); GMT for an unknown name.
  explicit IcuDates(std::string zone);

  IcuDates(IcuDates&&) noexcept;
  IcuDates& operator=(IcuDates&&) noexcept;
  ~IcuDates() override;

  /// True when the IANA time zone database contains a zone of this name.
  static bool isZone(std::string_view name);

  std::chrono::seconds secondsFromGMT(Date at) const override;
  std::string text(Date date, std::string_view pattern) const override;

 private:
  class Formatter;
  std::unique_ptr<Formatter> formatter_;
};

}  // namespace sqm::platform
