#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "sqm/manager/SQMSessionParams.h"

#include "tests/support/Bytes.h"

using sqm::SQMSessionParams;

namespace {

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();

TEST(SessionParams, HoldNothingAtFirst) {
  const SQMSessionParams params;
  for (std::int64_t key = 0; key <= 91; ++key) EXPECT_EQ(params.valueForKey(key), "");
}

TEST(SessionParams, KeepAValueUnderEveryKeyThatCanBeRead) {
  SQMSessionParams params;
  for (std::int64_t key = 1; key <= 90; ++key) EXPECT_EQ(params.setStringValue("value " + std::to_string(key), key), 0);
  for (std::int64_t key = 1; key <= 90; ++key) EXPECT_EQ(params.valueForKey(key), "value " + std::to_string(key));
}

TEST(SessionParams, RejectKeysOutside1To91) {
  SQMSessionParams params;
  for (const std::int64_t key :
       {std::int64_t{0}, std::int64_t{92}, std::int64_t{-1}, (std::int64_t{1} << 32) + 6, kLowest, kHighest}) {
    EXPECT_EQ(params.setStringValue("value", key), 3) << key;
    EXPECT_EQ(params.setStringValue(std::nullopt, key), 3) << key;
    EXPECT_EQ(params.setIntValue(5, key), 3) << key;
  }
  for (std::int64_t key = 0; key <= 92; ++key) EXPECT_EQ(params.valueForKey(key), "");
}

TEST(SessionParams, Key91CanBeStoredAndNotRead) {
  SQMSessionParams params;
  EXPECT_EQ(params.setStringValue("value", 91), 0);
  EXPECT_EQ(params.setIntValue(91, 91), 0);
  EXPECT_EQ(params.valueForKey(91), "");
}

TEST(SessionParams, ReadsOfKeysOutside0To90AreEmpty) {
  SQMSessionParams params;
  for (std::int64_t key = 1; key <= 91; ++key) params.setStringValue("value", key);
  for (const std::int64_t key :
       {std::int64_t{0}, std::int64_t{91}, std::int64_t{-1}, (std::int64_t{1} << 32) + 6, kLowest, kHighest}) {
    EXPECT_EQ(params.valueForKey(key), "") << key;
  }
}

TEST(SessionParams, IntegersAreKeptAsDecimalText) {
  SQMSessionParams params;
  const struct {
    std::int64_t value;
    const char* text;
  } cases[] = {
      {-5, "-5"}, {0, "0"}, {42, "42"}, {kHighest, "9223372036854775807"}, {kLowest, "-9223372036854775808"},
  };
  for (const auto& [value, text] : cases) {
    EXPECT_EQ(params.setIntValue(value, 10), 0);
    EXPECT_EQ(params.valueForKey(10), text);
  }
}

TEST(SessionParams, KeepTheLaterOfTwoValues) {
  SQMSessionParams params;
  params.setStringValue("first", 6);
  params.setStringValue("second", 6);
  EXPECT_EQ(params.valueForKey(6), "second");
  params.setIntValue(3, 6);
  EXPECT_EQ(params.valueForKey(6), "3");
}

TEST(SessionParams, AbsentValueRemovesTheKey) {
  SQMSessionParams params;
  params.setStringValue("value", 6);
  EXPECT_EQ(params.setStringValue(std::nullopt, 6), 0);
  EXPECT_EQ(params.valueForKey(6), "");
}

TEST(SessionParams, ValuesAreData) {
  SQMSessionParams params;
  for (const std::string& text : kAwkwardTexts) {
    EXPECT_EQ(params.setStringValue(text, 6), 0);
    EXPECT_EQ(params.valueForKey(6), text);
  }
}

TEST(SessionParams, KeepTheirOwnCopyOfAValue) {
  SQMSessionParams params;
  std::string text = "a text that is long enough to lie on the heap";
  params.setStringValue(text, 6);
  text.assign(text.size(), 'x');
  EXPECT_EQ(params.valueForKey(6), "a text that is long enough to lie on the heap");
}

TEST(SessionParams, ValueMayBeAViewOfTheOneItReplaces) {
  SQMSessionParams params;
  params.setStringValue("a text that is long enough to lie on the heap", 6);
  params.setStringValue(params.valueForKey(6).substr(2, 4), 6);
  EXPECT_EQ(params.valueForKey(6), "text");
}

TEST(SessionParams, ClearingRemovesEveryValue) {
  SQMSessionParams params;
  for (std::int64_t key = 1; key <= 91; ++key) params.setIntValue(key, key);
  EXPECT_TRUE(params.clearRecord());
  for (std::int64_t key = 0; key <= 91; ++key) EXPECT_EQ(params.valueForKey(key), "");
  EXPECT_TRUE(params.clearRecord());
  params.setStringValue("again", 6);
  EXPECT_EQ(params.valueForKey(6), "again");
}

}  // namespace
