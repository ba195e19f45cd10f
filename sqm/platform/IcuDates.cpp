#include "sqm/platform/IcuDates.h"

#include <memory>

#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>

namespace sqm::platform {

namespace {

icu::UnicodeString unicode(std::string_view text) {
  return icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
}

std::unique_ptr<icu::TimeZone> zoneCalled(std::string_view name) {
  return std::unique_ptr<icu::TimeZone>(name.empty() ? icu::TimeZone::detectHostTimeZone()
                                                     : icu::TimeZone::createTimeZone(unicode(name)));
}

UDate icuDate(Date date) { return std::chrono::duration<UDate, std::milli>(date.time_since_epoch()).count(); }

}  // namespace

bool IcuDates::isZone(std::string_view name) {
  UBool isInDatabase = false;  // and not an offset that ICU has a name for, as "GMT+3"
  icu::UnicodeString canonical;
  UErrorCode status = U_ZERO_ERROR;
  icu::TimeZone::getCanonicalID(unicode(name), canonical, isInDatabase, status);
  return U_SUCCESS(status) && isInDatabase;
}

std::chrono::seconds IcuDates::secondsFromGMT(Date at) const {
  int32_t standard = 0;
  int32_t summer = 0;
  UErrorCode status = U_ZERO_ERROR;
  zoneCalled(zone_)->getOffset(icuDate(at), /*local=*/false, standard, summer, status);
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::milliseconds(standard + summer));
}

std::string IcuDates::text(Date date, std::string_view pattern) const {
  UErrorCode status = U_ZERO_ERROR;
  icu::SimpleDateFormat format(unicode(pattern), icu::Locale("en_US_POSIX"), status);
  if (U_FAILURE(status)) return {};
  format.adoptTimeZone(zoneCalled(zone_).release());
  icu::UnicodeString formatted;
  format.format(icuDate(date), formatted, /*posIter=*/nullptr, status);
  std::string text;
  if (U_SUCCESS(status)) formatted.toUTF8String(text);
  return text;
}

}  // namespace sqm::platform
