#include <clocale>

#include <gtest/gtest.h>

#include "sqm/platform/text/IcuLocale.h"

#include "tests/platform/system/Environment.h"

namespace sqm::platform {
namespace {

using test::EnvironmentVariable;

TEST(IcuLocale, PosixNamesBecomeIdentifiers) {
  const struct {
    const char* posix;
    const char* identifier;
  } cases[] = {
      {"fr_FR", "fr_FR"},
      {"fr_FR.UTF-8", "fr_FR"},
      {"de_DE.ISO-8859-15@euro", "de_DE"},
      {"de_DE@euro", "de_DE"},
      {"en_gb", "en_GB"},
      {"de", "de"},
      {"zh_CN", "zh_CN"},
      {"sr_RS@latin", "sr_Latn_RS"},
      {"sr_RS.UTF-8@latin", "sr_Latn_RS"},
      {"uz@cyrillic", "uz_Cyrl"},
      {"C", "en_US_POSIX"},
      {"C.UTF-8", "en_US_POSIX"},
      {"POSIX", "en_US_POSIX"},
      {"", "en_US_POSIX"},
      {".UTF-8", "en_US_POSIX"},
      {"../../etc/passwd", "en_US_POSIX"},
      {"/usr/lib/locale/de", "en_US_POSIX"},
      {"_", "en_US_POSIX"},
  };
  for (const auto& each : cases) EXPECT_EQ(IcuLocale::identifierOf(each.posix), each.identifier) << each.posix;
  EXPECT_EQ(IcuLocale::identifierOf(std::string(100'000, 'x')), "en_US_POSIX");
}

TEST(IcuLocale, RecognisesLocales) {
  for (const char* each : {"en", "en_GB", "en-GB", "fr_FR", "de_AT", "sr_Latn_RS", "en_US_POSIX", "es_419", "haw_US"})
    EXPECT_TRUE(IcuLocale::isLocale(each)) << each;
  for (const char* each : {"", "_", "_GB", "xx", "nonsense", "en_XX", "en_GB.UTF-8", "../en", "C", "en GB"})
    EXPECT_FALSE(IcuLocale::isLocale(each)) << each;
  EXPECT_FALSE(IcuLocale::isLocale(std::string(100'000, 'x')));
}

TEST(IcuLocale, TheFirstVariableThatIsNotEmptyDecides) {
  const IcuLocale locale;
  const EnvironmentVariable noLang("LANG", nullptr);
  const EnvironmentVariable noMessages("LC_MESSAGES", nullptr);
  const EnvironmentVariable noAll("LC_ALL", nullptr);
  EXPECT_EQ(locale.currentLocale(), "en_US_POSIX");
  const EnvironmentVariable lang("LANG", "fr_FR.UTF-8");
  EXPECT_EQ(locale.currentLocale(), "fr_FR");
  const EnvironmentVariable messages("LC_MESSAGES", "de_AT.UTF-8");
  EXPECT_EQ(locale.currentLocale(), "de_AT");
  const EnvironmentVariable all("LC_ALL", "C");
  EXPECT_EQ(locale.currentLocale(), "en_US_POSIX");
  const EnvironmentVariable empty("LC_ALL", "");
  EXPECT_EQ(locale.currentLocale(), "de_AT");
}

TEST(IcuLocale, TheLocaleOfTheProcessIsIgnored) {
  const EnvironmentVariable noAll("LC_ALL", nullptr);
  const EnvironmentVariable messages("LC_MESSAGES", "fr_FR.UTF-8");
  // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread
  ASSERT_NE(std::setlocale(LC_ALL, "C"), nullptr);
  EXPECT_EQ(IcuLocale().currentLocale(), "fr_FR");
}

TEST(IcuLocale, LocalesHaveNamesInALanguage) {
  const IcuLocale locale;
  EXPECT_EQ(locale.displayName("fr_FR", "en_GB"), "French (France)");
  EXPECT_EQ(locale.displayName("en_US", "en_GB"), "English (United States)");
  EXPECT_EQ(locale.displayName("de_DE", "fr_FR"), "allemand (Allemagne)");
  EXPECT_EQ(locale.displayName("fr", "en_GB"), "French");
}

TEST(IcuLocale, AnInvalidIdentifierHasNoName) {
  const IcuLocale locale;
  EXPECT_EQ(locale.displayName("", "en_GB"), std::nullopt);
  EXPECT_EQ(locale.displayName("../../etc", "en_GB"), std::nullopt);
  EXPECT_EQ(locale.displayName(std::string_view("fr\0FR", 5), "en_GB"), std::nullopt);
}

}  // namespace
}  // namespace sqm::platform
