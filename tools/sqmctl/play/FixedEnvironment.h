#pragma once

#include <optional>
#include <string>

#include "sqm/common/Clock.h"
#include "sqm/common/Host.h"
#include "sqm/platform/system/SystemInformation.h"
#include "sqm/platform/text/IcuDates.h"
#include "sqm/platform/text/IcuLocale.h"

namespace sqmctl::play {

/// The values that replace the machine's own. An absent value does not replace anything.
struct EnvironmentOptions {
  std::optional<std::string> locale;     ///< an identifier, such as "en_GB"
  std::optional<std::string> os;         ///< the operating system's name
  std::optional<std::string> osVersion;  ///< the operating system's version
  std::optional<std::string> time;       ///< the time of a standing clock, in ISO 8601; in `zone` when it has no offset
  std::optional<std::string> zone;       ///< a name of the IANA database
};

/// A clock that only `advance` moves, within the years 1 to 9999.
class StandingClock : public sqm::Clock {
 public:
  explicit StandingClock(sqm::Date date) : date_(date) {}

  std::int64_t time() const override {
    return std::chrono::floor<std::chrono::seconds>(date_).time_since_epoch().count();
  }
  sqm::Date date() const override { return date_; }

  /// Moves the clock forward, or back by a negative number. It stops at the limits of its range.
  void advance(double seconds);

 private:
  sqm::Date date_;
};

/// The services that return the values of the options.
class FixedEnvironment {
 public:
  /// Throws Problem for an invalid locale, zone or time. The zone becomes the zone of the process, so this must be
  /// called before a thread is started.
  explicit FixedEnvironment(const EnvironmentOptions& options);
  FixedEnvironment(const FixedEnvironment&) = delete;
  FixedEnvironment& operator=(const FixedEnvironment&) = delete;

  /// Replaces the host's own services. This object must then outlive the host.
  void replaceServicesOf(sqm::Host& host);

  /// Null when the machine's clock is used.
  StandingClock* clock() { return clock_ ? &*clock_ : nullptr; }

 private:
  class Locale : public sqm::platform::IcuLocale {
   public:
    explicit Locale(std::string identifier) : identifier_(std::move(identifier)) {}
    std::string currentLocale() const override { return identifier_; }

   private:
    std::string identifier_;
  };

  class System : public sqm::platform::SystemInformation {
   public:
    explicit System(const EnvironmentOptions& options) : name_(options.os), version_(options.osVersion) {}
    std::string getOSProductName() const override { return name_ ? *name_ : SystemInformation::getOSProductName(); }
    std::string getOSVersion() const override { return version_ ? *version_ : SystemInformation::getOSVersion(); }

   private:
    std::optional<std::string> name_;
    std::optional<std::string> version_;
  };

  System system_;
  std::optional<Locale> locale_;
  sqm::platform::IcuDates dates_;
  std::optional<StandingClock> clock_;
};

}  // namespace sqmctl::play
