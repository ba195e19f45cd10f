#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/QFLocale.h"

namespace sqm::platform {

/// Locales of the ICU library. As POSIX defines it, the current locale is the first of the environment variables
/// LC_ALL, LC_MESSAGES and LANG that is not empty; the locale set by the process is ignored.
class IcuLocale : public QFLocale {
 public:
  std::string currentLocale() const override;
  std::optional<std::string> displayName(std::string_view identifier, std::string_view inLocale) const override;

  /// The identifier of a POSIX locale: "fr_FR" for "fr_FR.UTF-8", "sr_Latn_RS" for "sr_RS@latin", "en_US_POSIX" for
  /// "C", "POSIX" and invalid names.
  static std::string identifierOf(std::string_view posixLocale);

  /// True when `identifier` consists of a known language and, if it has a region, a known region.
  static bool isLocale(std::string_view identifier);
};

}  // namespace sqm::platform
