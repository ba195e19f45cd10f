#include "sqm/platform/IcuDates.h"

#include <memory>
#include <mutex>

#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

namespace sqm::platform {

namespace {

icu::UnicodeString unicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

/// ICU keeps what it finds out about the system in variables of its own, without a lock.
std::unique_ptr<icu::TimeZone> systemZone() {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  return std::unique_ptr<icu::TimeZone>(icu::TimeZone::detectHostTimeZone());
}

std::unique_ptr<icu::TimeZone> zoneCalled(std::string_view name) {
  return name.empty() ? systemZone() : std::unique_ptr<icu::TimeZone>(icu::TimeZone::createTimeZone(unicode(name)));
}

UDate icuDate(Date date) { return std::chrono::duration<UDate, std::milli>(date.time_since_epoch()).count(); }

}  // namespace

std::chrono::seconds IcuDates::secondsFromGMT(Date at) const {
  int32_t standard = 0;
  int32_t summer = 0;
  UErrorCode status = U_ZERO_ERROR;
  zoneCalled(zone_)->getOffset(icuDate(at), /*local=*/0, standard, summer, status);
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::milliseconds(standard + summer));
}

std::string IcuDates::text(Date date, std::string_view pattern) const {
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(unicode(pattern), icu::Locale("en_US_POSIX"), status);
  if (U_FAILURE(status) != 0) return {};
  format.adoptTimeZone(zoneCalled(zone_).release());
  icu::UnicodeString formatted;
  format.format(icuDate(date), formatted, /*posIter=*/nullptr, status);
  std::string text;
  if (U_SUCCESS(status) != 0) formatted.toUTF8String(text);
  return text;
}

}  // namespace sqm::platform
