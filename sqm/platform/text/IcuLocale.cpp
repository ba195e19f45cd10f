#include "sqm/platform/text/IcuLocale.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include <unicode/locid.h>
#include <unicode/unistr.h>

namespace sqm::platform {

namespace {

constexpr const char* kPosix = "en_US_POSIX";

/// The scripts of modifiers. Other modifiers, such as "@euro", have no equivalent in an identifier.
constexpr std::pair<std::string_view, std::string_view> kScripts[] = {
    {"cyrillic", "Cyrl"},
    {"devanagari", "Deva"},
    {"latin", "Latn"},
};

bool isPlain(std::string_view name) {
  return std::all_of(name.begin(), name.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
  });
}

icu::Locale localeOf(std::string_view identifier) {
  return isPlain(identifier) ? icu::Locale(std::string(identifier).c_str()) : icu::Locale("");
}

}  // namespace

std::string IcuLocale::currentLocale() const {
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): the environment does not change while the process has threads
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return identifierOf(value);
  }
  return kPosix;
}

std::string IcuLocale::identifierOf(std::string_view posixLocale) {
  const std::string_view name = posixLocale.substr(0, posixLocale.find_first_of(".@"));
  if (name.empty() || name == "C" || name == "POSIX" || !isPlain(name)) return kPosix;
  std::string identifier(name);
  const std::size_t at = posixLocale.find('@');
  if (at != std::string_view::npos) {
    for (const auto& [modifier, script] : kScripts) {
      if (posixLocale.substr(at + 1) != modifier) continue;
      identifier.insert(std::min(identifier.find('_'), identifier.size()), "_" + std::string(script));
    }
  }
  const icu::Locale locale(identifier.c_str());
  return locale.isBogus() != 0 || *locale.getLanguage() == '\0' ? kPosix : locale.getName();
}

bool IcuLocale::isLocale(std::string_view identifier) {
  if (identifier.empty() || !isPlain(identifier)) return false;
  const icu::Locale locale = localeOf(identifier);
  if (locale.isBogus() != 0 || *locale.getISO3Language() == '\0') return false;
  // A region is a country or the number of an area: es_419 is the Spanish of Latin America.
  const std::string_view region = locale.getCountry();
  const bool isArea = region.find_first_not_of("0123456789") == std::string_view::npos;
  return isArea || *locale.getISO3Country() != '\0';
}

std::optional<std::string> IcuLocale::displayName(std::string_view identifier, std::string_view inLocale) const {
  if (identifier.empty() || !isPlain(identifier)) return std::nullopt;
  icu::UnicodeString name;
  localeOf(identifier).getDisplayName(localeOf(inLocale), name);
  if (name.isBogus() != 0 || name.isEmpty() != 0) return std::nullopt;
  std::string text;
  name.toUTF8String(text);
  return text;
}

}  // namespace sqm::platform
