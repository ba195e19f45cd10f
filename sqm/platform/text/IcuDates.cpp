#include "sqm/platform/text/IcuDates.h"

#include <chrono>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <utility>

#include <unicode/calendar.h>
#include <unicode/simpletz.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

#include "sqm/platform/text/internal/ZoneWatch.h"

namespace sqm::platform {

namespace {

icu::UnicodeString unicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

UDate icuDate(Date date) { return std::chrono::duration<UDate, std::milli>(date.time_since_epoch()).count(); }

std::int32_t millisecondsFromGMT(const icu::TimeZone& zone, Date at) {
  int32_t standard = 0;
  int32_t summer = 0;
  UErrorCode status = U_ZERO_ERROR;
  zone.getOffset(icuDate(at), /*local=*/0, standard, summer, status);
  return standard + summer;
}

/// Makes ICU determine its default zone before any other use. Its formats do the same when they are created, and ICU
/// keeps the result in variables that have no lock.
void prepareIcu() { static const std::unique_ptr<icu::TimeZone> first(icu::TimeZone::createDefault()); }

std::unique_ptr<icu::TimeZone> detectedZone() {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  return std::unique_ptr<icu::TimeZone>(icu::TimeZone::detectHostTimeZone());
}

}  // namespace

bool IcuDates::isZone(std::string_view name) {
  UBool isInDatabase = 0;  // false for an offset that ICU accepts as a name, such as "GMT+3"
  icu::UnicodeString canonical;
  UErrorCode status = U_ZERO_ERROR;
  icu::TimeZone::getCanonicalID(unicode(name), canonical, isInDatabase, status);
  return U_SUCCESS(status) != 0 && isInDatabase != 0;
}

/// The zone, and a calendar and a format for the last pattern.
class IcuDates::Formatter {
 public:
  explicit Formatter(std::string zone) : name_(std::move(zone)) {}

  std::int32_t millisecondsFromGMT(Date at) {
    const std::lock_guard lock(mutex_);
    return platform::millisecondsFromGMT(zoneAt(at), at);
  }

  std::string text(Date date, std::string_view pattern) {
    const std::lock_guard lock(mutex_);
    const icu::TimeZone& zone = zoneAt(date);
    if (!calendar_ || pattern != pattern_) use(pattern);
    if (!calendar_) return {};
    if (calendar_->getTimeZone() != zone) calendar_->setTimeZone(zone);
    UErrorCode status = U_ZERO_ERROR;
    calendar_->setTime(icuDate(date), status);
    icu::UnicodeString formatted;
    format_->format(*calendar_, formatted, /*posIter=*/nullptr, status);
    std::string text;
    if (U_SUCCESS(status) != 0) formatted.toUTF8String(text);
    return text;
  }

 private:
  void use(std::string_view pattern) {
    UErrorCode status = U_ZERO_ERROR;
    calendar_.reset();
    format_ = std::make_unique<icu::SimpleDateFormat>(unicode(pattern), icu::Locale("en_US_POSIX"), status);
    if (U_FAILURE(status) != 0) return;
    calendar_.reset(format_->getCalendar()->clone());
    pattern_ = pattern;
  }

  const icu::TimeZone& zoneAt(Date at) {
    prepareIcu();
    if (name_.empty()) return systemZone(at);
    if (!zone_) zone_.reset(icu::TimeZone::createTimeZone(unicode(name_)));
    return *zone_;
  }

  /// The system's zone. The variable TZ may also hold a rule ("XYZ-3:30"), which ICU does not support: when the C
  /// library reports another offset for the moment, a zone with that offset is returned.
  const icu::TimeZone& systemZone(Date at) {
    if (watch_.hasChanged(std::chrono::steady_clock::now()) || !zone_) zone_ = detectedZone();
    const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(at.time_since_epoch()).count();
    std::tm local{};
    if (::localtime_r(&seconds, &local) == nullptr) return *zone_;
    const auto offset = static_cast<std::int32_t>(local.tm_gmtoff * 1000);
    if (platform::millisecondsFromGMT(*zone_, at) == offset) return *zone_;
    offset_.setRawOffset(offset);
    return offset_;
  }

  const std::string name_;  // empty: the system's
  std::mutex mutex_;        // guards the rest
  ZoneWatch watch_;
  std::unique_ptr<icu::TimeZone> zone_;
  icu::SimpleTimeZone offset_{0, icu::UnicodeString()};
  std::string pattern_;
  std::unique_ptr<icu::SimpleDateFormat> format_;
  std::unique_ptr<icu::Calendar> calendar_;  // null while no pattern is in use
};

IcuDates::IcuDates() : IcuDates(std::string()) {}
IcuDates::IcuDates(std::string zone) : formatter_(std::make_unique<Formatter>(std::move(zone))) {}
IcuDates::IcuDates(IcuDates&&) noexcept = default;
IcuDates& IcuDates::operator=(IcuDates&&) noexcept = default;
IcuDates::~IcuDates() = default;

std::chrono::seconds IcuDates::secondsFromGMT(Date at) const {
  return std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::milliseconds(formatter_->millisecondsFromGMT(at)));
}

std::string IcuDates::text(Date date, std::string_view pattern) const { return formatter_->text(date, pattern); }

}  // namespace sqm::platform
