#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/records/internal/RecordFormatter.h"
#include "sqm/records/internal/RecordLayout.h"
#include "sqm/testing/FakeServices.h"

using sqm::FieldNameTable;
using sqm::FixedName;
using sqm::isSound;
using sqm::Row;

namespace {

constexpr FixedName kGateway("gateway");
constexpr FixedName kOs("os");
constexpr FixedName kOuter("outer");
constexpr FixedName kLongest("fifteen letters");
constexpr FixedName kEmpty("");

constexpr Row kOnce[] = {sqm::present(11), sqm::always(12)};
constexpr Row kElements[] = {sqm::element(11, kOnce), sqm::section({})};
constexpr Row kTwice[] = {sqm::timeStamped(11), sqm::element(5, kOnce)};
constexpr Row kTwiceNamed[] = {sqm::alwaysNamed(kGateway, 12), sqm::section(kOnce)};
constexpr Row kLastEntry[] = {sqm::present(90)};
constexpr Row kBeyond[] = {sqm::present(91)};
constexpr Row kNestedBeyond[] = {sqm::element(kOuter, kBeyond)};
constexpr Row kEnvironment[] = {sqm::environment(kOs)};
constexpr Row kEveryKind[] = {sqm::timeStamped(6), sqm::present(7), sqm::alwaysNamed(kGateway, 8),
                              sqm::environment(kOs), sqm::always(9)};
constexpr Row kMarked[] = {sqm::markedElement(7, kEnvironment)};
constexpr Row kMarkedWithAValue[] = {sqm::markedElement(7, kOnce)};
constexpr Row kEnvironmentWithoutAKey[] = {sqm::environment(kEmpty)};

std::string element(const std::string& name, const std::string& value, const std::string& attributes = "") {
  return "<" + name + attributes + ">" + value + "</" + name + ">";
}

TEST(RecordLayout, IsSoundWhenEveryEntryExistsAndNoneIsWrittenTwice) {
  EXPECT_TRUE(isSound({}));
  EXPECT_TRUE(isSound(kOnce));
  EXPECT_TRUE(isSound(kElements));  // an element may have the name of a field inside it
  EXPECT_TRUE(isSound(kLastEntry));
  EXPECT_TRUE(isSound(kEnvironment));
  EXPECT_TRUE(isSound(kMarked));
  EXPECT_FALSE(isSound(kTwice));
  EXPECT_FALSE(isSound(kTwiceNamed));
  EXPECT_FALSE(isSound(kBeyond));
  EXPECT_FALSE(isSound(kNestedBeyond));
  EXPECT_FALSE(isSound(kEnvironmentWithoutAKey));
  EXPECT_FALSE(isSound(kMarkedWithAValue));
}

TEST(FixedName, HasTheTagsOfItsElement) {
  EXPECT_EQ(kGateway.name(), "gateway");
  EXPECT_EQ(kGateway.tags().opening, "<gateway>");
  EXPECT_EQ(kGateway.tags().closing, "</gateway>");
  EXPECT_EQ(kLongest.tags().opening, "<fifteen letters>");
  EXPECT_EQ(kLongest.tags().closing, "</fifteen letters>");
  EXPECT_EQ(kEmpty.tags().opening, "<>");
  EXPECT_EQ(kEmpty.tags().closing, "</>");
}

TEST(RecordFormatter, ReplacesWhatIsThere) {
  const auto names =
      std::make_shared<const FieldNameTable>(std::vector<std::optional<std::string>>(FieldNameTable::kFields, "name"));
  sqm::ValueDictionary values(names);
  values.set("name", "value");
  const sqm::testing::FixedUtilities utilities;
  std::string out = "before ";
  sqm::formatRows(out, kLastEntry, {.names = *names, .values = values, .timeStamp = "", .utilities = utilities});
  EXPECT_EQ(out, "<name>value</name>");
}

TEST(RecordFormatter, WritesTextsOfAnyLength) {
  const std::string name(300, 'n');
  const auto names =
      std::make_shared<const FieldNameTable>(std::vector<std::optional<std::string>>(FieldNameTable::kFields, name));
  const sqm::testing::FixedUtilities utilities;
  // Around the steps of a copy, and beyond the buffer.
  for (const std::size_t length :
       {0U, 1U, 3U, 4U, 7U, 8U, 15U, 16U, 17U, 31U, 32U, 33U, 7'000U, 8'191U, 8'192U, 8'193U, 100'000U}) {
    const std::string value(length, 'v');
    sqm::ValueDictionary values(names);
    values.set(name, value);
    values.set("os", value);
    std::string out;
    const sqm::RecordContents contents{.names = *names, .values = values, .timeStamp = value, .utilities = utilities};
    sqm::formatRows(out, kEveryKind, contents);
    std::string expected = element(name, value, " timestamp=" + value);
    for (const std::string& each : {name, std::string("gateway"), std::string("os"), name}) {
      expected += element(each, value);
    }
    EXPECT_EQ(out, expected);
  }
}

TEST(RecordFormatter, LeavesTheTextWhenAnEntryIsBeyondAShortTable) {
  const auto names = std::make_shared<const FieldNameTable>(std::vector<std::optional<std::string>>{"only one"});
  const sqm::ValueDictionary values(names);
  const sqm::testing::FixedUtilities utilities;
  std::string out = "before";
  EXPECT_THROW(
      sqm::formatRows(out, kLastEntry, {.names = *names, .values = values, .timeStamp = "", .utilities = utilities}),
      std::out_of_range);
  EXPECT_EQ(out, "before");
}

}  // namespace
