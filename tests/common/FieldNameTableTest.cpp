#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/FieldNameTable.h"
#include "sqm/common/TextSlots.h"

#include "tests/support/Bytes.h"

using sqm::FieldNameTable;

namespace {

using Names = std::vector<std::optional<std::string>>;

Names numbered(std::size_t count) {
  Names names;
  for (std::size_t field = 0; field < count; ++field) names.push_back("F" + std::to_string(field));
  return names;
}

TEST(FieldNameTable, NamesEveryFieldAndFindsItByItsName) {
  const FieldNameTable table(numbered(FieldNameTable::kFields));
  for (std::size_t field = 0; field < FieldNameTable::kFields; ++field) {
    const std::string name = "F" + std::to_string(field);
    EXPECT_EQ(table.name(static_cast<std::int64_t>(field)), name);
    EXPECT_EQ(table.fieldNamed(name), field);
    EXPECT_EQ(table.firstNamesake(field), field);
  }
}

TEST(FieldNameTable, FindsNoFieldForAnotherName) {
  const FieldNameTable table(numbered(FieldNameTable::kFields));
  for (const char* name : {"", "F", "f0", "F91", "F00", "6"}) EXPECT_EQ(table.fieldNamed(name), std::nullopt) << name;
}

TEST(FieldNameTable, FindsNamesOfAnyLength) {
  Names names;
  for (const std::size_t length : {0U, 1U, 31U, 62U, 63U, 64U, 65U, 1'000U})
    names.emplace_back(std::string(length, 'n'));
  const FieldNameTable table(names);
  for (std::size_t field = 0; field < names.size(); ++field) EXPECT_EQ(table.fieldNamed(*names[field]), field);
  for (const std::size_t length : {2U, 30U, 32U, 61U, 66U, 999U, 1'024U}) {
    EXPECT_EQ(table.fieldNamed(std::string(length, 'n')), std::nullopt) << length;
  }
  EXPECT_EQ(FieldNameTable(Names{}).fieldNamed(""), std::nullopt);
}

TEST(FieldNameTable, ThrowsForNumbersBeyondTheList) {
  const struct {
    std::size_t entries;
    std::int64_t number;
  } cases[] = {
      {91, -1},
      {91, 91},
      {91, std::numeric_limits<std::int64_t>::max()},
      {91, std::numeric_limits<std::int64_t>::min()},
      {7, 7},
      {1, 1},
      {0, 0},
      {0, -1},
      // In 32 bits these would be 0 and 90.
      {91, std::int64_t{1} << 32},
      {91, (std::int64_t{1} << 32) + 90},
  };
  for (const auto& [entries, number] : cases) {
    SCOPED_TRACE(number);
    const FieldNameTable table(numbered(entries));
    EXPECT_THROW(static_cast<void>(table.name(number)), std::out_of_range);
  }
}

TEST(FieldNameTable, ExceptionNamesTheNumberAndTheSizeOfTheList) {
  const FieldNameTable table(numbered(7));
  try {
    static_cast<void>(table.name(64));
    FAIL() << "expected std::out_of_range";
  } catch (const std::out_of_range& error) {
    EXPECT_STREQ(error.what(), "field number 64 is beyond the field-name table, which holds 7 of 91 names");
  }
}

TEST(FieldNameTable, ShortListNamesItsOwnFields) {
  const FieldNameTable table(numbered(7));
  EXPECT_EQ(table.name(6), "F6");
  EXPECT_EQ(table.fieldNamed("F6"), 6U);
  EXPECT_EQ(table.fieldNamed("F7"), std::nullopt);
}

TEST(FieldNameTable, DoesNotUseEntriesBeyondTheLastField) {
  for (const std::size_t entries : {FieldNameTable::kFields + 1, std::size_t{1'000}}) {
    const FieldNameTable table(numbered(entries));
    EXPECT_EQ(table.name(90), "F90");
    EXPECT_THROW(static_cast<void>(table.name(91)), std::out_of_range);
    EXPECT_EQ(table.fieldNamed("F91"), std::nullopt);
  }
}

TEST(FieldNameTable, MissingNameLeavesItsFieldWithoutOne) {
  Names names = numbered(FieldNameTable::kFields);
  names[7] = std::nullopt;
  const FieldNameTable table(names);
  EXPECT_EQ(table.name(7), std::nullopt);
  EXPECT_EQ(table.fieldNamed("F7"), std::nullopt);
  EXPECT_EQ(table.fieldNamed("F8"), 8U);
  EXPECT_FALSE(table.hasName(7));
  EXPECT_TRUE(table.hasName(8));
  EXPECT_EQ(table.firstNamesake(7), FieldNameTable::kFields);
}

TEST(FieldNameTable, HasTheTagsOfEveryField) {
  const FieldNameTable table(Names{"wifi", std::nullopt, "", "a longer name than the others"});
  const char* const expected[][2] = {{"<wifi>", "</wifi>"},
                                     {"<(null)>", "</(null)>"},
                                     {"<>", "</>"},
                                     {"<a longer name than the others>", "</a longer name than the others>"}};
  for (std::int64_t field = 0; field < 4; ++field) {
    const auto [opening, closing] = table.tags(field);
    EXPECT_EQ(opening, expected[field][0]);
    EXPECT_EQ(closing, expected[field][1]);
    const std::string padded(closing.data(), closing.size() + sqm::TextSlots::kPadding);  // may be read
    EXPECT_TRUE(padded.starts_with(closing));
  }
  EXPECT_THROW(static_cast<void>(table.tags(4)), std::out_of_range);
}

TEST(FieldNameTable, AllNamesMayBeMissing) {
  const Names noNames(FieldNameTable::kFields);
  const FieldNameTable table(noNames);
  EXPECT_EQ(table.name(0), std::nullopt);
  EXPECT_EQ(table.name(90), std::nullopt);
  EXPECT_EQ(table.fieldNamed(""), std::nullopt);
}

TEST(FieldNameTable, FirstFieldRepresentsAllOfItsName) {
  Names names = numbered(FieldNameTable::kFields);
  names[40] = "F12";
  names[90] = "F12";
  const FieldNameTable table(names);
  EXPECT_EQ(table.name(90), "F12");
  EXPECT_EQ(table.fieldNamed("F12"), 12U);
  EXPECT_EQ(table.firstNamesake(12), 12U);
  EXPECT_EQ(table.firstNamesake(40), 12U);
  EXPECT_EQ(table.firstNamesake(90), 12U);
  EXPECT_EQ(table.fieldNamed("F40"), std::nullopt);
}

TEST(FieldNameTable, AllFieldsMayHaveOneName) {
  const FieldNameTable table(Names(FieldNameTable::kFields, "same"));
  EXPECT_EQ(table.fieldNamed("same"), 0U);
  for (std::size_t field = 0; field < FieldNameTable::kFields; ++field) EXPECT_EQ(table.firstNamesake(field), 0U);
}

TEST(FieldNameTable, NamesMayHoldAnyBytes) {
  const Names names(std::begin(kAwkwardTexts), std::end(kAwkwardTexts));
  const FieldNameTable table(names);
  for (std::size_t field = 0; field < names.size(); ++field) {
    EXPECT_EQ(table.name(static_cast<std::int64_t>(field)), names[field]);
    EXPECT_EQ(table.fieldNamed(*names[field]), field);
  }
}

TEST(FieldNameTable, CopiesAreIndependent) {
  auto original = std::make_optional<FieldNameTable>(numbered(8));
  const FieldNameTable copy = *original;
  original.reset();
  EXPECT_EQ(copy.name(3), "F3");
  EXPECT_EQ(copy.fieldNamed("F3"), 3U);
}

}  // namespace
