#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "sqm/records/SQMUserAcceptanceRecord.h"
#include "sqm/testing/FakeHost.h"

#include "tests/records/RecordsUnderTest.h"

using sqm::SQMUserAcceptanceRecord;
using sqm::testing::FakeHost;

namespace {

class UserAcceptanceRecord : public ::testing::Test {
 protected:
  FakeHost fake;
  SQMUserAcceptanceRecord record{fake.host};
};

TEST_F(UserAcceptanceRecord, FilledThroughTheSettersAloneDoesNotValidate) {
  for (const int field : {6, 13, 88, 89, 90}) record.SetAttribute(field, "V" + std::to_string(field));
  EXPECT_EQ(record.ValidateRecordData(), 3);
  EXPECT_EQ(formatted(record), (Formatted{3, ""}));
}

TEST_F(UserAcceptanceRecord, ValidatesWithTheLiteralKey6OfAFilter) {
  record.SetAttribute(6, "V6");
  sqm::ValueDictionary filtered = *record.recordValues();
  filtered.set("6", "any");
  record.updateRecordValues(filtered);
  EXPECT_EQ(record.ValidateRecordData(), 0);
  EXPECT_EQ(formatted(record),
            (Formatted{0,
                       "<userAcceptance><F6 timestamp=\"0000000000\">V6</F6><F13></F13><F88></F88><F89></F89>"
                       "<F90></F90></userAcceptance>"}));
}

TEST_F(UserAcceptanceRecord, FirstElementTakesTheValueOfTheFieldNotThatOfTheKey6) {
  record.recordValues()->set("6", "not this");
  EXPECT_EQ(formatted(record),
            (Formatted{0,
                       "<userAcceptance><F6 timestamp=\"0000000000\"></F6><F13></F13><F88></F88><F89></F89>"
                       "<F90></F90></userAcceptance>"}));
}

TEST_F(UserAcceptanceRecord, FilledThroughTheSettersValidatesWhenTheFieldIsNamed6) {
  auto names = FakeHost::defaultFieldNames();
  names[6] = "6";
  fake.setFieldNames(names);
  SQMUserAcceptanceRecord named(fake.host);
  named.SetAttribute(6, "V6");
  EXPECT_EQ(formatted(named),
            (Formatted{0,
                       "<userAcceptance><6 timestamp=\"0000000000\">V6</6><F13></F13><F88></F88><F89></F89>"
                       "<F90></F90></userAcceptance>"}));
}

TEST_F(UserAcceptanceRecord, HasNoSubType) { EXPECT_EQ(record.recordSubType(), std::nullopt); }

TEST_F(UserAcceptanceRecord, MissingNamesReadNullWhenTheKey6IsThere) {
  fake.setFieldNames(std::nullopt);
  SQMUserAcceptanceRecord unnamed(fake.host);
  unnamed.recordValues()->set("6", "");
  EXPECT_EQ(formatted(unnamed),
            (Formatted{0,
                       "<userAcceptance><(null) timestamp=\"0000000000\"></(null)><(null)></(null)><(null)></(null)>"
                       "<(null)></(null)><(null)></(null)></userAcceptance>"}));
}

}  // namespace
