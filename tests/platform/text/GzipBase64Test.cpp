#include <limits>
#include <random>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/platform/text/GzipBase64.h"

#include "tests/platform/files/ShellCommand.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

constexpr std::size_t kAnyLength = std::numeric_limits<std::size_t>::max();

std::string compressed(const std::string& text, std::size_t fitting = kAnyLength) {
  return GzipBase64().compressStringWithEncoding(text, kUtf8Encoding, fitting).value();
}

std::string words(std::size_t count) {
  const char* const kWords[] = {"portal", "found", "redirect", "login", "poll", "302", "timeout", "https://", "\":\""};
  std::minstd_rand random(7);
  std::string text;
  for (std::size_t word = 0; word < count; ++word) text.append(kWords[random() % std::size(kWords)]).append(" ");
  return text;
}

TEST(GzipBase64, StandardToolsRestoreTheText) {
  const TemporaryFolder folder;
  std::string anything;
  std::minstd_rand random(1);
  for (int byte = 0; byte < 5000; ++byte) anything.push_back(static_cast<char>(random() >> 8));
  for (const std::string& text : {std::string(), std::string("a"), std::string("ab"), std::string("abc"),
                                  std::string("a\0b", 3), std::string(100000, 'x'), words(3000), anything}) {
    putContent(folder / "report", compressed(text));
    EXPECT_TRUE(test::printedBy("base64 -d '" + folder / "report" + "' | gunzip") == text) << text.size();
  }
}

TEST(GzipBase64, EveryLengthOfTheLastGroupIsPadded) {
  const TemporaryFolder folder;
  for (std::size_t length = 0; length < 12; ++length) {
    const std::string text = words(4).substr(0, length);
    const std::string form = compressed(text);
    EXPECT_EQ(form.size() % 4, 0U);
    EXPECT_THAT(form, ::testing::MatchesRegex("[A-Za-z0-9+/]+={0,2}"));
    putContent(folder / "report", form);
    EXPECT_EQ(test::printedBy("base64 -d '" + folder / "report" + "' | gunzip"), text);
  }
}

TEST(GzipBase64, TheResultIsOneLineAndReproducible) {
  const std::string text = words(3000);
  EXPECT_EQ(compressed(text).find('\n'), std::string::npos);
  EXPECT_EQ(compressed(text), compressed(text));
  EXPECT_LT(compressed(text).size(), text.size() / 2);
}

TEST(GzipBase64, TheHighestLevelIsUsedOnlyWhenTheUsualOneDoesNotFit) {
  const std::string text = words(3000);
  const std::string usual = compressed(text);
  const std::string best = compressed(text, 0);
  EXPECT_LT(best.size(), usual.size());
  EXPECT_EQ(compressed(text, usual.size()), usual);
  EXPECT_EQ(compressed(text, usual.size() - 1), best);
}

TEST(GzipBase64, OtherEncodingsAreNotSupported) {
  for (const int encoding : {0, 1, 3, 5, 10, -4}) {
    EXPECT_EQ(GzipBase64().compressStringWithEncoding("text", encoding, kAnyLength), std::nullopt) << encoding;
  }
}

}  // namespace
}  // namespace sqm::platform
