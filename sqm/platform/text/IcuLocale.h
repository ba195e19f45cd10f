#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sqm/common/QFLocale.h"

namespace sqm::platform {

/// Locales by ICU. The current one is what the environment asks for, as POSIX says, whatever the process has set: the
/// first of LC_ALL, LC_MESSAGES and LANG that is not empty.
class IcuLocale : public QFLocale {
 public:
  std::string currentLocale() const override;
  std::optional<std::string> displayName(std::string_view identifier, std::string_view inLocale) const override;

  /// The identifier of a POSIX locale: "fr_FR" of "fr_FR.UTF-8", "sr_Latn_RS" of "sr_RS@latin"; "en_US_POSIX" of "C",
  /// "POSIX", and of what is no name of a locale.
  static std::string identifierOf(std::string_view posixLocale);

  /// True when `identifier` names a language that there is, and, where it names a region, one that there is.
  static bool isLocale(std::string_view identifier);
};

}  // namespace sqm::platform
