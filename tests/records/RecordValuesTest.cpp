#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "tests/records/RecordsUnderTest.h"
#include "tests/support/Golden.h"

using sqm::ValueDictionary;

namespace {

class RecordValues : public EveryKind {};
INSTANTIATE_TEST_SUITE_P(, RecordValues, ::testing::ValuesIn(recordKinds()), idOf);

TEST_P(RecordValues, NewRecordHoldsNone) {
  const auto record = made();
  ASSERT_NE(record->recordValues(), nullptr);
  EXPECT_TRUE(record->recordValues()->empty());
}

TEST_P(RecordValues, AreTheRecordsOwn) {
  const auto record = valid();
  record->recordValues()->set("F6", "changed outside");
  EXPECT_NE(formatted(*record).text->find(">changed outside</F6>"), std::string::npos);
  record->recordValues()->erase(kind().requiredKey);
  EXPECT_EQ(formatted(*record).status, kind().requiredMissing);
}

TEST_P(RecordValues, OfTwoRecordsAreApart) {
  const auto record = valid();
  const auto other = made();
  EXPECT_TRUE(other->recordValues()->empty());
  other->recordValues()->set("F6", "other");
  EXPECT_EQ(record->recordValues()->find("F6"), "V6");
}

TEST_P(RecordValues, ClearRecordRemovesThemExceptInTheClientRecord) {
  const auto record = valid();
  const Formatted before = formatted(*record);
  EXPECT_TRUE(record->clearRecord());
  if (kind().clearKeepsValues) {
    EXPECT_EQ(formatted(*record), before);
  } else {
    EXPECT_TRUE(record->recordValues()->empty());
    EXPECT_EQ(formatted(*record), (Formatted{kind().requiredMissing, ""}));
  }
}

TEST_P(RecordValues, ClearedRecordCanBeFilledAgain) {
  const auto record = valid();
  record->clearRecord();
  record->recordValues()->set(kind().requiredKey, "");
  record->SetAttribute(6, "V6");
  EXPECT_EQ(formatted(*record), (Formatted{0, kind().minimal}));
}

TEST_P(RecordValues, UpdateReplacesAllOfThem) {
  const auto record = made();
  fillEverything(*record);
  record->updateRecordValues(*valid()->recordValues());
  EXPECT_EQ(formatted(*record), (Formatted{0, kind().minimal}));
  record->updateRecordValues({});
  EXPECT_TRUE(record->recordValues()->empty());
}

TEST_P(RecordValues, UpdateTakesACopy) {
  const auto record = made();
  ValueDictionary values = *valid()->recordValues();
  record->updateRecordValues(values);
  values.set("F6", "changed afterwards");
  EXPECT_EQ(formatted(*record), (Formatted{0, kind().minimal}));
}

TEST_P(RecordValues, UpdateTakesADictionaryThatWasMadeElsewhere) {
  fake.prefs.timeStamp = "\"2026-11-21T10:00:00Z\"";
  const auto source = made();
  fillEverything(*source);
  ValueDictionary elsewhere;
  source->recordValues()->forEach([&](auto key, auto value) { elsewhere.set(key, value); });

  const auto record = made();
  record->updateRecordValues(elsewhere);
  EXPECT_EQ(formatted(*record), (Formatted{0, goldenText(kind().goldenFile)}));
  EXPECT_EQ(record->recordValues()->find("F91"), "the F91");
  record->SetAttribute(6, "set afterwards");
  EXPECT_EQ(record->recordValues()->find("F6"), "set afterwards");
}

TEST_P(RecordValues, UpdateWithFilteredValuesAndBackRestoresTheRecord) {
  const auto record = made();
  fillEverything(*record);
  const Formatted unfiltered = formatted(*record);
  const ValueDictionary saved = *record->recordValues();

  ValueDictionary filtered = saved;
  filtered.set("F6", "filtered");
  record->updateRecordValues(std::move(filtered));
  EXPECT_NE(formatted(*record), unfiltered);
  record->updateRecordValues(saved);
  EXPECT_EQ(formatted(*record), unfiltered);
}

TEST_P(RecordValues, MayBeAssignedADictionaryThatWasMadeElsewhere) {
  ValueDictionary elsewhere;
  elsewhere.set(kind().requiredKey, "");
  elsewhere.set("F6", "V6");
  const auto record = made();
  *record->recordValues() = elsewhere;
  EXPECT_EQ(formatted(*record), (Formatted{0, kind().minimal}));
  EXPECT_EQ(record->SetAttribute(7, "V7"), 0);
  EXPECT_EQ(record->recordValues()->find("F7"), "V7");
}

TEST_P(RecordValues, MayBeMovedAway) {
  const auto record = valid();
  const ValueDictionary taken = std::move(*record->recordValues());
  EXPECT_EQ(taken.find("F6"), "V6");
  EXPECT_EQ(formatted(*record), (Formatted{kind().requiredMissing, ""}));
  record->updateRecordValues(taken);
  EXPECT_EQ(formatted(*record), (Formatted{0, kind().minimal}));
}

}  // namespace
