#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "tests/records/RecordsUnderTest.h"
#include "tests/support/Golden.h"

using sqm::testing::FakeHost;

namespace {

/// Records with the valid and invalid field-name tables of a host.
class RecordFieldNames : public EveryKind {
 protected:
  void useTheFirstNames(std::size_t count) {
    auto names = FakeHost::defaultFieldNames();
    names.resize(count);
    fake.setFieldNames(names);
  }

  /// The status of the two setters that store nothing in a record without a dictionary.
  void expectSettersToStoreNothing(sqm::SQM& record, std::int64_t plain, std::int64_t xmlCompatible) const {
    EXPECT_EQ(record.SetAttribute(6, "value"), plain);
    EXPECT_EQ(record.SetAttribute(6, std::nullopt), plain);
    EXPECT_EQ(record.SetAttributeAfterXMLCompatibleFormat(6, "value"), xmlCompatible);
    EXPECT_EQ(record.SetAttributeAfterXMLCompatibleFormat(6, std::nullopt), xmlCompatible);
    EXPECT_EQ(record.SetAttribute(-1, "value"), kind().fieldRejected);
    EXPECT_EQ(record.SetAttributeAfterXMLCompatibleFormat(-1, "value"), kind().fieldRejected);
    EXPECT_EQ(record.SetAttribute(91, "value"), kind().fieldRejected);
  }
};
INSTANTIATE_TEST_SUITE_P(, RecordFieldNames, ::testing::ValuesIn(recordKinds()), idOf);

TEST_P(RecordFieldNames, EveryRecordReadsTheTableItself) {
  const auto first = made();
  EXPECT_EQ(fake.propertyLists.reads(), (std::vector<std::string>{FakeHost::kFieldNamesPath}));
  auto names = FakeHost::defaultFieldNames();
  names[6] = "Other";
  fake.setFieldNames(names);
  const auto second = made();
  EXPECT_EQ(fake.propertyLists.reads().size(), 2U);
  first->SetAttribute(6, "value");
  second->SetAttribute(6, "value");
  EXPECT_TRUE(first->recordValues()->contains("F6"));
  EXPECT_TRUE(second->recordValues()->contains("Other"));
}

TEST_P(RecordFieldNames, WithoutTheResourceThereIsNoDictionary) {
  fake.removeFieldNames();
  const auto record = made();
  EXPECT_EQ(fake.propertyLists.reads().size(), 0U);
  EXPECT_EQ(record->recordValues(), nullptr);
  EXPECT_EQ(record->clearRecord(), kind().clearKeepsValues);
  expectSettersToStoreNothing(*record, kind().fieldRejected, kind().fieldRejected);
  EXPECT_EQ(record->recordValues(), nullptr);
  EXPECT_EQ(kind().validate(*record), kind().withoutResource.status);
  EXPECT_EQ(formatted(*record), kind().withoutResource);
  EXPECT_EQ(formatted(*record, std::nullopt), (Formatted{3, std::nullopt}));
}

TEST_P(RecordFieldNames, WithoutTheResourceAnUpdateGivesTheRecordADictionary) {
  sqm::ValueDictionary values;
  values.set("F6", "V6");
  fake.removeFieldNames();
  const auto record = made();
  record->updateRecordValues(values);
  ASSERT_NE(record->recordValues(), nullptr);
  EXPECT_EQ(record->recordValues()->find("F6"), "V6");
  EXPECT_EQ(formatted(*record), (Formatted{kind().requiredMissing, ""}));  // no entry names the key
}

TEST_P(RecordFieldNames, UnreadableTableGivesADictionaryWithoutKeys) {
  fake.setFieldNames(std::nullopt);
  const auto record = made();
  ASSERT_NE(record->recordValues(), nullptr);
  expectSettersToStoreNothing(*record, kind().plainSetterNameMissing, 0);
  EXPECT_TRUE(record->recordValues()->empty());
  EXPECT_TRUE(record->clearRecord());
  EXPECT_EQ(kind().validate(*record), kind().requiredMissing);
  EXPECT_EQ(formatted(*record), (Formatted{kind().requiredMissing, ""}));
}

TEST_P(RecordFieldNames, FieldBeyondAShortTableIsAnErrorThatChangesNothing) {
  useTheFirstNames(7);
  const auto record = made();
  record->SetAttribute(6, "six");
  EXPECT_THROW(record->SetAttribute(7, "seven"), std::out_of_range);
  EXPECT_THROW(record->SetAttributeAfterXMLCompatibleFormat(7, "seven"), std::out_of_range);
  EXPECT_EQ(record->recordValues()->size(), 1U);
  EXPECT_EQ(record->recordValues()->find("F6"), "six");
}

TEST_P(RecordFieldNames, FieldAboveTheHighestIsNotLookedUpInAShortTable) {
  useTheFirstNames(7);
  const auto record = made();
  for (const std::int64_t field : {kind().highestField + 1, std::int64_t{91}, std::int64_t{1000}}) {
    EXPECT_EQ(record->SetAttribute(field, "value"), kind().fieldRejected) << field;
    EXPECT_EQ(record->SetAttributeAfterXMLCompatibleFormat(field, "value"), kind().fieldRejected) << field;
  }
  EXPECT_TRUE(record->recordValues()->empty());
}

TEST_P(RecordFieldNames, FormattingBeyondAShortTableIsAnErrorThatLeavesTheSlot) {
  useTheFirstNames(7);
  const auto record = valid();
  std::optional<std::string> slot = "an earlier text";
  EXPECT_THROW(record->FormatRecord(slot), std::out_of_range);
  EXPECT_EQ(slot, "an earlier text");
}

TEST_P(RecordFieldNames, EmptyTableIsAnErrorForEveryField) {
  fake.setFieldNames(sqm::TextArray{});
  const auto record = made();
  EXPECT_THROW(record->SetAttribute(0, "value"), std::out_of_range);
  EXPECT_THROW(record->SetAttributeAfterXMLCompatibleFormat(6, "value"), std::out_of_range);
  record->recordValues()->set(kind().requiredKey, "");
  std::optional<std::string> slot = "an earlier text";
  EXPECT_THROW(record->FormatRecord(slot), std::out_of_range);
  EXPECT_EQ(slot, "an earlier text");
}

TEST_P(RecordFieldNames, EntriesBeyondTheLastFieldAreNotUsed) {
  fake.prefs.timeStamp = "\"2026-11-21T10:00:00Z\"";
  auto names = FakeHost::defaultFieldNames();
  for (int extra = 0; extra < 1'000; ++extra) names.push_back("extra");
  fake.setFieldNames(names);
  const auto record = made();
  fillEverything(*record);
  EXPECT_EQ(record->SetAttribute(91, "value"), kind().fieldRejected);
  EXPECT_FALSE(record->recordValues()->contains("extra"));
  EXPECT_EQ(formatted(*record), (Formatted{0, goldenText(kind().goldenFile)}));
}

TEST_P(RecordFieldNames, FieldWithoutANameStoresNothing) {
  auto names = FakeHost::defaultFieldNames();
  names[7] = std::nullopt;
  fake.setFieldNames(names);
  const auto record = made();
  EXPECT_EQ(record->SetAttribute(7, "seven"), kind().plainSetterNameMissing);
  EXPECT_EQ(record->SetAttributeAfterXMLCompatibleFormat(7, "<seven>"), 0);
  EXPECT_EQ(record->SetAttribute(7, std::nullopt), kind().plainSetterNameMissing);
  EXPECT_EQ(record->SetAttributeAfterXMLCompatibleFormat(7, std::nullopt), 0);
  EXPECT_TRUE(record->recordValues()->empty());
}

TEST_P(RecordFieldNames, RequiredFieldWithoutANameIsMissing) {
  auto names = FakeHost::defaultFieldNames();
  names[6] = std::nullopt;
  fake.setFieldNames(names);
  const auto record = valid();
  const bool needsTheName = kind().requiredKey == "F6";
  EXPECT_EQ(kind().validate(*record), needsTheName ? kind().requiredMissing : 0);
}

TEST_P(RecordFieldNames, FieldsOfOneNameShareOneValue) {
  fake.setFieldNames(std::vector<std::string>(91, "same"));
  const auto record = made();
  for (std::int64_t field = 0; field <= kind().highestField; ++field) {
    EXPECT_EQ(record->SetAttribute(field, std::to_string(field)), 0);
  }
  EXPECT_EQ(record->recordValues()->size(), 1U);
  EXPECT_EQ(record->recordValues()->find("same"), std::to_string(kind().highestField));
  record->recordValues()->set(kind().requiredKey, "");
  const Formatted result = formatted(*record);
  EXPECT_EQ(result.status, 0);
  EXPECT_NE(result.text->find("<same timestamp=\"0000000000\">" + std::to_string(kind().highestField) + "</same>"),
            std::string::npos);
}

TEST(RecordFieldNamesTable, MissingNamesOfWrittenFieldsReadNull) {
  FakeHost fake;
  auto names = FakeHost::defaultFieldNames();
  for (const std::size_t field : {5U, 10U, 23U, 87U}) names[field] = std::nullopt;
  fake.setFieldNames(names);
  const auto record = recordKinds().front().make(fake.host);
  fillEverything(*record);
  record->updateRecordValues([] {
    sqm::ValueDictionary values;
    values.set("F6", "V6");
    values.set("F23", "V23");  // entry 23 has no name, so nothing is stored in field 23
    values.set("(null)", "no field's value");
    return values;
  }());
  EXPECT_EQ(formatted(*record), (Formatted{0,
                                           "<(null)><F6 timestamp=\"0000000000\">V6</F6><(null)><(null)></(null)>"
                                           "</(null)></(null)>"}));
}

}  // namespace
