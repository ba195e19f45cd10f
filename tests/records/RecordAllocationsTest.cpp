#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "tests/records/RecordsUnderTest.h"
#include "tests/support/AllocationProbe.h"

namespace {

class RecordAllocations : public EveryKind {
 protected:
  /// A record whose values are too long for a small-string buffer.
  std::unique_ptr<sqm::SQM> filled() {
    fake.prefs.timeStamp = "\"" + std::string(300, '0') + "\"";
    auto record = made();
    fillEverything(*record);
    for (int field = 0; field <= 90; ++field) {
      record->recordValues()->set("F" + std::to_string(field), std::string(100, 'v'));
    }
    return record;
  }
};
INSTANTIATE_TEST_SUITE_P(, RecordAllocations, ::testing::ValuesIn(recordKinds()), idOf);

TEST_P(RecordAllocations, FormattingAllocatesItsResultAlone) {
  const auto record = filled();
  std::optional<std::string> slot = "";
  const AllocationProbe probe;
  const std::int64_t status = record->FormatRecord(slot);
  const std::size_t count = probe.count();
  const std::size_t bytes = probe.bytes();
  EXPECT_EQ(status, 0);
  EXPECT_EQ(count, 1U);
  EXPECT_LT(bytes, slot->size() + slot->size() / 8);
}

TEST_P(RecordAllocations, FormattingARecordThatDoesNotValidateAllocatesNothing) {
  const auto record = made();
  std::optional<std::string> slot = "";
  const AllocationProbe probe;
  record->FormatRecord(slot);
  EXPECT_EQ(probe.count(), 0U);
}

TEST_P(RecordAllocations, SettingFieldsAgainAllocatesNothing) {
  const auto record = made();
  const std::string value(100, '&');
  const auto setEveryField = [&] {
    for (std::int64_t field = 0; field <= kind().highestField; ++field) {
      if (field % 2 == 0) {
        record->SetAttribute(field, value);
      } else {
        record->SetAttributeAfterXMLCompatibleFormat(field, value);
      }
    }
  };
  setEveryField();
  const AllocationProbe again;
  setEveryField();
  record->clearRecord();
  setEveryField();
  EXPECT_EQ(again.count(), 0U);
}

}  // namespace
