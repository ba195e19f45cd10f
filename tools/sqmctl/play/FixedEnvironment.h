#pragma once

#include <optional>
#include <string>

#include "sqm/common/Clock.h"
#include "sqm/common/Host.h"
#include "sqm/platform/system/SystemInformation.h"
#include "sqm/platform/text/IcuDates.h"
#include "sqm/platform/text/IcuLocale.h"

namespace sqmctl::play {

/// What the user wants the environment to report in place of the machine's own. Absent: the machine's own.
struct EnvironmentOptions {
  std::optional<std::string> locale;     ///< an identifier, as "en_GB"
  std::optional<std::string> os;         ///< the operating system's name
  std::optional<std::string> osVersion;  ///< and version
  std::optional<std::string> time;       ///< where the clock stands, as ISO 8601; without an offset: in the zone
  std::optional<std::string> zone;       ///< by its name in the IANA database
};

/// A clock that stands still between the years 1 and 9999.
class StandingClock : public sqm::Clock {
 public:
  explicit StandingClock(sqm::Date date) : date_(date) {}

  std::int64_t time() const override {
    return std::chrono::floor<std::chrono::seconds>(date_).time_since_epoch().count();
  }
  sqm::Date date() const override { return date_; }

  /// Moves it on, or back; no further than it goes.
  void advance(double seconds);

 private:
  sqm::Date date_;
};

/// The services that report what the options fix.
class FixedEnvironment {
 public:
  /// Throws Problem for what is no locale, zone or time. A zone becomes this process's own: before any thread begins.
  explicit FixedEnvironment(const EnvironmentOptions& options);
  FixedEnvironment(const FixedEnvironment&) = delete;
  FixedEnvironment& operator=(const FixedEnvironment&) = delete;

  /// Puts them in the place of the host's own, and must then outlive it.
  void putInto(sqm::Host& host);

  /// Null where the machine's clock runs.
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
