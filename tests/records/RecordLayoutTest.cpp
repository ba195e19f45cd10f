#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/records/internal/RecordFormatter.h"
#include "sqm/records/internal/RecordLayout.h"
#include "sqm/testing/FakeServices.h"

using sqm::FieldNameTable;
using sqm::isSound;
using sqm::Row;

namespace {

constexpr Row kOnce[] = {sqm::present(11), sqm::always(12)};
constexpr Row kElements[] = {sqm::element(11, kOnce), sqm::section({})};
constexpr Row kTwice[] = {sqm::timeStamped(11), sqm::element(5, kOnce)};
constexpr Row kTwiceNamed[] = {sqm::alwaysNamed("gateway", 12), sqm::section(kOnce)};
constexpr Row kLastEntry[] = {sqm::present(90)};
constexpr Row kBeyond[] = {sqm::present(91)};
constexpr Row kNestedBeyond[] = {sqm::element("outer", kBeyond)};
constexpr Row kEnvironment[] = {sqm::environment("os")};
constexpr Row kEnvironmentWithoutAKey[] = {sqm::environment("")};

TEST(RecordLayout, IsSoundWhenEveryEntryExistsAndNoneIsWrittenTwice) {
  EXPECT_TRUE(isSound({}));
  EXPECT_TRUE(isSound(kOnce));
  EXPECT_TRUE(isSound(kElements));  // an element may have the name of a field inside it
  EXPECT_TRUE(isSound(kLastEntry));
  EXPECT_TRUE(isSound(kEnvironment));
  EXPECT_FALSE(isSound(kTwice));
  EXPECT_FALSE(isSound(kTwiceNamed));
  EXPECT_FALSE(isSound(kBeyond));
  EXPECT_FALSE(isSound(kNestedBeyond));
  EXPECT_FALSE(isSound(kEnvironmentWithoutAKey));
}

TEST(RecordFormatter, AppendsToWhatIsThere) {
  const auto names =
      std::make_shared<const FieldNameTable>(std::vector<std::optional<std::string>>(FieldNameTable::kFields, "name"));
  sqm::ValueDictionary values(names);
  values.set("name", "value");
  const sqm::testing::FixedUtilities utilities;
  std::string out = "before ";
  sqm::appendRows(out, kLastEntry, {.names = names.get(), .values = &values, .timeStamp = "", .utilities = &utilities});
  EXPECT_EQ(out, "before <name>value</name>");
}

TEST(RecordFormatter, LeavesTheTextWhenAnEntryIsBeyondAShortTable) {
  const FieldNameTable names({"only one"});
  const sqm::testing::FixedUtilities utilities;
  std::string out = "before";
  EXPECT_THROW(
      sqm::appendRows(out, kLastEntry, {.names = &names, .values = nullptr, .timeStamp = "", .utilities = &utilities}),
      std::out_of_range);
  EXPECT_EQ(out, "before");
}

}  // namespace
