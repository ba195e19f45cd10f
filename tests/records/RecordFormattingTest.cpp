#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "tests/records/RecordsUnderTest.h"
#include "tests/support/Bytes.h"
#include "tests/support/Golden.h"

namespace {

class RecordFormatting : public EveryKind {};
INSTANTIATE_TEST_SUITE_P(, RecordFormatting, ::testing::ValuesIn(recordKinds()), idOf);

TEST_P(RecordFormatting, FullRecordReadsAsItsGoldenText) {
  fake.prefs.timeStamp = "\"2026-11-21T10:00:00Z\"";
  const auto record = made();
  fillEverything(*record);
  const Formatted result = formatted(*record);
  EXPECT_EQ(result.status, 0);
  expectGoldenFile(result.text.value_or("") + "\n", kind().goldenFile);
}

TEST_P(RecordFormatting, RecordWithTheFirstFieldAloneWritesWhatIsAlwaysWritten) {
  EXPECT_EQ(formatted(*valid()), (Formatted{0, kind().minimal}));
}

TEST_P(RecordFormatting, EmptySlotIsRejectedAndLeftAlone) {
  EXPECT_EQ(formatted(*valid(), std::nullopt), (Formatted{3, std::nullopt}));
}

TEST_P(RecordFormatting, EmptySlotIsRejectedBeforeValidation) {
  EXPECT_EQ(formatted(*made(), std::nullopt), (Formatted{3, std::nullopt}));
}

TEST_P(RecordFormatting, TextInTheSlotIsReplaced) {
  EXPECT_EQ(formatted(*valid(), "an earlier text"), (Formatted{0, kind().minimal}));
}

TEST_P(RecordFormatting, WithoutTheRequiredKeyTheSlotBecomesEmpty) {
  const auto record = made();
  fillEverything(*record);
  record->recordValues()->erase(kind().requiredKey);
  EXPECT_EQ(kind().validate(*record), kind().requiredMissing);
  EXPECT_EQ(formatted(*record, "an earlier text"), (Formatted{kind().requiredMissing, ""}));
}

TEST_P(RecordFormatting, RequiredKeyMayHoldTheEmptyText) {
  const auto record = made();
  record->recordValues()->set(kind().requiredKey, "");
  EXPECT_EQ(kind().validate(*record), 0);
  EXPECT_EQ(formatted(*record).status, 0);
}

TEST_P(RecordFormatting, TimeStampIsWrittenAsItStands) {
  const auto record = valid();
  for (const std::string& stamp : kAwkwardTexts) {
    if (stamp.empty()) continue;
    fake.prefs.timeStamp = stamp;
    const Formatted result = formatted(*record);
    ASSERT_TRUE(result.text);
    EXPECT_NE(result.text->find("<F6 timestamp=" + stamp + ">V6</F6>"), std::string::npos);
  }
}

TEST_P(RecordFormatting, TimeStampIsReadAnewEachTime) {
  const auto record = valid();
  fake.prefs.timeStamp = "\"1\"";
  EXPECT_NE(formatted(*record).text->find("<F6 timestamp=\"1\">"), std::string::npos);
  fake.prefs.timeStamp = "";
  EXPECT_NE(formatted(*record).text->find("<F6 timestamp=\"0000000000\">"), std::string::npos);
}

TEST_P(RecordFormatting, ValuesAreWrittenAsTheyStand) {
  for (const std::string& text : kAwkwardTexts) {
    const auto record = valid();
    record->recordValues()->set("F6", text);
    EXPECT_NE(formatted(*record).text->find("<F6 timestamp=\"0000000000\">" + text + "</F6>"), std::string::npos);
  }
  EXPECT_EQ(fake.utilities.escapings, 0);
}

TEST_P(RecordFormatting, FieldNamesAreWrittenAsTheyStand) {
  for (const std::string& name : kAwkwardTexts) {
    auto names = sqm::testing::FakeHost::defaultFieldNames();
    names[6] = name;
    fake.setFieldNames(names);
    const auto record = valid();
    record->recordValues()->set(name, "value");
    std::string element = "<" + name;
    element.append(" timestamp=\"0000000000\">value</").append(name).append(">");
    EXPECT_NE(formatted(*record).text->find(element), std::string::npos);
  }
}

TEST_P(RecordFormatting, FormattingChangesNoValue) {
  const auto record = made();
  fillEverything(*record);
  const sqm::ValueDictionary before = *record->recordValues();
  const Formatted first = formatted(*record);
  EXPECT_TRUE(*record->recordValues() == before);
  EXPECT_EQ(formatted(*record), first);
}

TEST_P(RecordFormatting, RecordHasItsNameAndSubType) {
  const auto record = made();
  EXPECT_EQ(record->recordName(), kind().recordName);
  EXPECT_EQ(record->recordSubType(), kind().subType);
}

}  // namespace
