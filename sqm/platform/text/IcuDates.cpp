#include "sqm/platform/text/IcuDates.h"

#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>

#include <unicode/simpletz.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

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
  prepareIcu();
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  return std::unique_ptr<icu::TimeZone>(icu::TimeZone::detectHostTimeZone());
}

/// The system's zone. The variable TZ may also hold a rule ("XYZ-3:30"), which ICU does not support: when the C library
/// reports another offset for the moment, a zone with that offset is returned.
std::unique_ptr<icu::TimeZone> systemZone(Date at) {
  std::unique_ptr<icu::TimeZone> zone = detectedZone();
  const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(at.time_since_epoch()).count();
  std::tm local{};
  if (::localtime_r(&seconds, &local) == nullptr) return zone;
  const auto offset = static_cast<std::int32_t>(local.tm_gmtoff * 1000);
  if (millisecondsFromGMT(*zone, at) == offset) return zone;
  return std::make_unique<icu::SimpleTimeZone>(offset, icu::UnicodeString());
}

std::unique_ptr<icu::TimeZone> zoneCalled(std::string_view name, Date at) {
  if (name.empty()) return systemZone(at);
  return std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(unicode(name)));
}

}  // namespace

bool IcuDates::isZone(std::string_view name) {
  UBool isInDatabase = 0;  // false for an offset that ICU accepts as a name, such as "GMT+3"
  icu::UnicodeString canonical;
  UErrorCode status = U_ZERO_ERROR;
  icu::TimeZone::getCanonicalID(unicode(name), canonical, isInDatabase, status);
  return U_SUCCESS(status) != 0 && isInDatabase != 0;
}

std::chrono::seconds IcuDates::secondsFromGMT(Date at) const {
  return std::chrono::duration_cast<std::chrono::seconds>(
      std::chrono::milliseconds(millisecondsFromGMT(*zoneCalled(zone_, at), at)));
}

std::string IcuDates::text(Date date, std::string_view pattern) const {
  prepareIcu();
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(unicode(pattern), icu::Locale("en_US_POSIX"), status);
  if (U_FAILURE(status) != 0) return {};
  format.adoptTimeZone(zoneCalled(zone_, date).release());
  icu::UnicodeString formatted;
  format.format(icuDate(date), formatted, /*posIter=*/nullptr, status);
  std::string text;
  if (U_SUCCESS(status) != 0) formatted.toUTF8String(text);
  return text;
}

}  // namespace sqm::platform
