#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/Format.h"

#include "tests/support/Bytes.h"

using sqm::appendFormatted;

namespace {

using Arguments = std::vector<std::string_view>;

std::string formatted(std::string_view format, const Arguments& arguments) {
  std::string text;
  appendFormatted(text, format, arguments);
  return text;
}

TEST(Format, ReplacesPlaceholdersInOrder) {
  const struct {
    std::string_view format;
    Arguments arguments;
    std::string_view expected;
  } cases[] = {
      {"", {}, ""},
      {"", {"unused"}, ""},
      {"plain", {}, "plain"},
      {"%@", {"a"}, "a"},
      {"%d", {"-7"}, "-7"},
      {"%ld", {"12"}, "12"},
      {"%s", {"c"}, "c"},
      {"<%@>%@</%@>", {"E", "", "E"}, "<E></E>"},
      {"%@%@", {"a", "b"}, "ab"},
      {"%@ %d %ld %s.", {"1", "2", "3", "4"}, "1 2 3 4."},
      {"Generated  Record  \n \t %@ \n\t", {"x"}, "Generated  Record  \n \t x \n\t"},
  };
  for (const auto& [format, arguments, expected] : cases) {
    SCOPED_TRACE(format);
    EXPECT_EQ(formatted(format, arguments), expected);
  }
}

TEST(Format, LeavesAPlaceholderWithoutAnArgument) {
  EXPECT_EQ(formatted("%@ %@ %d", {"one"}), "one %@ %d");
  EXPECT_EQ(formatted("%@", {}), "%@");
}

TEST(Format, IgnoresArgumentsWithoutAPlaceholder) { EXPECT_EQ(formatted("%@", {"a", "b"}), "a"); }

TEST(Format, LeavesAPerCentSignThatBeginsNoPlaceholder) {
  EXPECT_EQ(formatted("100 % of %x, %%, %l, %@ %", {"a"}), "100 % of %x, %%, %l, a %");
}

TEST(Format, CopiesArgumentsUnchanged) {
  for (const std::string& text : kAwkwardTexts) EXPECT_EQ(formatted("[%@|%@]", {text, "%@"}), "[" + text + "|%@]");
}

TEST(Format, AppendsToAnExistingText) {
  std::string text = "before ";
  appendFormatted(text, "%@", Arguments{"after"});
  EXPECT_EQ(text, "before after");
}

TEST(Format, AppendsAtMostTheLimitAndCountsTheRest) {
  const struct {
    std::string_view format;
    Arguments arguments;
    std::string_view appended;
    std::size_t leftOut;
  } cases[] = {
      {"%@%@", {"01234", "56789"}, "0123456789", 0},
      {"%@ and %@", {"0123456789", "more"}, "0123456789", 9},
      {"0123456789 %@", {"more"}, "0123456789", 5},
      {"12345678%@z", {"\xE2\x82\xAC"}, "12345678", 4},
  };
  for (const auto& [format, arguments, appended, leftOut] : cases) {
    std::string text = "before ";
    EXPECT_EQ(appendFormatted(text, format, arguments, 10), leftOut) << format;
    EXPECT_EQ(text, "before " + std::string(appended));
  }
}

}  // namespace
