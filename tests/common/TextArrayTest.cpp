#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/TextArray.h"

using sqm::TextArray;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

TEST(TextArray, HoldsTextsOfAnyBytesInTheirOrder) {
  const std::string withNul("a\0b", 3);
  TextArray texts;
  for (const std::string& text : {std::string("one"), std::string(), withNul, std::string(100'000, 'x')}) {
    texts.append(text);
  }
  EXPECT_THAT(texts, ElementsAre("one", "", withNul, std::string(100'000, 'x')));
  EXPECT_EQ(texts[2], withNul);
  EXPECT_EQ(texts.size(), 4U);
  EXPECT_FALSE(texts.hasAbsent());
}

TEST(TextArray, IsEmptyAtFirst) {
  const TextArray texts;
  EXPECT_TRUE(texts.empty());
  EXPECT_THAT(texts, IsEmpty());
  EXPECT_EQ(texts.joined(), "");
  EXPECT_EQ(texts, TextArray{});
}

TEST(TextArray, AnAbsentTextIsNotAnEmptyOne) {
  const TextArray texts = {std::nullopt, "a", "", std::nullopt, std::nullopt, "b", std::nullopt};
  EXPECT_THAT(texts, ElementsAre(std::nullopt, "a", "", std::nullopt, std::nullopt, "b", std::nullopt));
  EXPECT_TRUE(texts.hasAbsent());
  EXPECT_EQ(texts.joined(), "ab");
  EXPECT_NE((TextArray{"a", ""}), (TextArray{"a", std::nullopt}));
}

TEST(TextArray, AListThatIsAllAbsentIsNotEmpty) {
  const TextArray texts = std::vector<std::optional<std::string>>(1'000);
  EXPECT_EQ(texts.size(), 1'000U);
  EXPECT_TRUE(std::all_of(texts.begin(), texts.end(), [](const auto& text) { return text == std::nullopt; }));
}

TEST(TextArray, ListsDifferWhereTheirTextsEnd) {
  EXPECT_NE((TextArray{"ab", "c"}), (TextArray{"a", "bc"}));
  EXPECT_NE((TextArray{"a"}), (TextArray{"a", ""}));
}

TEST(TextArray, JoinsItsTextsWithNothingBetweenThem) {
  EXPECT_EQ((TextArray{"<a/>", "", "<b/>"}).joined(), "<a/><b/>");
}

TEST(TextArray, IsMadeOfRangesOfStrings) {
  const std::vector<std::string> strings = {"a", "b"};
  const std::vector<std::optional<std::string>> some = {"a", std::nullopt};
  EXPECT_THAT(TextArray(strings), ElementsAre("a", "b"));
  EXPECT_THAT(TextArray(some), ElementsAre("a", std::nullopt));
}

TEST(TextArray, AppendsAPartOfItself) {
  TextArray texts = {"0123456789"};
  for (int count = 0; count < 100; ++count) texts.append(texts[texts.size() - 1]);
  for (const auto text : texts) EXPECT_EQ(text, "0123456789");
}

TEST(TextArray, AppendsThePresentTextsOfAnother) {
  const TextArray others = {"c", std::nullopt, "", "d"};
  TextArray texts = {"a", std::nullopt};
  texts.appendPresent(others);
  EXPECT_THAT(texts, ElementsAre("a", std::nullopt, "c", "", "d"));
  TextArray none;
  none.appendPresent(others);
  EXPECT_THAT(none, ElementsAre("c", "", "d"));
  none.appendPresent({});
  EXPECT_EQ(none.size(), 3U);
}

TEST(TextArray, AnEmptyListTakesTheMemoryOfAnother) {
  TextArray others = {std::string(1'000, 'x'), "y"};
  const char* const memory = others.joined().data();
  TextArray texts;
  texts.appendPresent(std::move(others));
  EXPECT_EQ(texts.joined().data(), memory);
  EXPECT_THAT(texts, ElementsAre(std::string(1'000, 'x'), "y"));
}

TEST(TextArray, RoomThatIsReservedIsUsed) {
  TextArray texts;
  texts.reserve(1'000, 10'000);
  texts.append("0123456789");
  const char* const memory = texts.joined().data();
  while (texts.size() < 1'000) texts.append("0123456789");
  EXPECT_EQ(texts.joined().data(), memory);
}

TEST(TextArray, CopiesAreIndependent) {
  TextArray texts = {"a"};
  const TextArray copy = texts;
  texts.append("b");
  EXPECT_THAT(copy, ElementsAre("a"));
}

TEST(TextArray, TheLastTextCanBeExtended) {
  TextArray texts = {"a", "b"};
  texts.extendLast("cd");
  texts.extendLast("");
  texts.append("e");
  EXPECT_THAT(texts, ElementsAre("a", "bcd", "e"));
}

TEST(TextArray, EveryChangeGivesANewVersion) {
  TextArray texts;
  EXPECT_EQ(texts.version(), 0U);
  std::vector<std::uint64_t> versions = {texts.version()};
  const auto expectNew = [&] {
    EXPECT_THAT(versions, testing::Not(testing::Contains(texts.version())));
    versions.push_back(texts.version());
  };
  texts.append("a");
  expectNew();
  texts.append(std::nullopt);
  expectNew();
  texts.append("b");
  texts.extendLast("c");
  expectNew();
  texts.appendPresent({"d"});
  expectNew();
  EXPECT_NE((TextArray{"a"}).version(), (TextArray{"a"}).version()) << "a version tells nothing of equal lists";
}

TEST(TextArray, ACopyHasTheVersionAndAMoveLeavesAnEmptyList) {
  TextArray texts = {"a", "b"};
  const std::uint64_t version = texts.version();
  TextArray copy = texts;
  EXPECT_EQ(copy.version(), version);
  const TextArray moved = std::move(texts);
  EXPECT_EQ(moved.version(), version);
  EXPECT_EQ(texts.version(), 0U);  // NOLINT(bugprone-use-after-move): it is empty
  EXPECT_TRUE(texts.empty());
  copy.append("c");
  EXPECT_NE(copy.version(), version);
  copy = {};
  EXPECT_EQ(copy.version(), 0U);
}

TEST(TextArray, TheFirstElementsCanBeRemoved) {
  for (std::size_t count = 0; count <= 5; ++count) {
    const std::vector<std::optional<std::string_view>> all = {"a", std::nullopt, "", "bcd", std::nullopt};
    const std::vector<std::optional<std::string_view>> rest(all.begin() + static_cast<std::ptrdiff_t>(count),
                                                            all.end());
    TextArray texts = all;
    texts.removeFirst(count);
    EXPECT_EQ(texts, TextArray(rest));
    EXPECT_EQ(texts.size(), rest.size());
    EXPECT_EQ(texts.joined(), TextArray(rest).joined());
    texts.append("e");
    texts.append(std::nullopt);
    EXPECT_EQ(texts[rest.size()], "e");
    EXPECT_EQ(texts[rest.size() + 1], std::nullopt);
    TextArray whole = rest;
    whole.append("e");
    whole.append(std::nullopt);
    EXPECT_EQ(texts, whole) << count;
  }
}

TEST(TextArray, OneIsAppendedAndOneRemovedAgainAndAgain) {
  TextArray texts;
  std::vector<std::string> expected;
  for (int number = 0; number < 1'000; ++number) {
    expected.push_back(std::string(static_cast<std::size_t>(number) % 7, 'x') + std::to_string(number));
    texts.append(expected.back());
    if (number < 20) continue;
    const std::uint64_t version = texts.version();
    texts.removeFirst(1);
    EXPECT_NE(texts.version(), version);
    expected.erase(expected.begin());
    ASSERT_THAT(texts, testing::ElementsAreArray(expected));
    std::string joined;
    for (const std::string& each : expected) joined += each;
    ASSERT_EQ(texts.joined(), joined);
  }
}

}  // namespace
