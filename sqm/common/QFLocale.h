#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sqm {

/// The user's locale, and the display names of locales.
class QFLocale {
 public:
  virtual ~QFLocale() = default;

  /// The identifier of the user's current locale, such as "en_GB".
  virtual std::string currentLocale() const = 0;

  /// The name of the locale `identifier` in the language of the locale `inLocale`, such as "French (France)"; nothing
  /// when it has no name.
  virtual std::optional<std::string> displayName(std::string_view identifier, std::string_view inLocale) const = 0;
};

}  // namespace sqm
