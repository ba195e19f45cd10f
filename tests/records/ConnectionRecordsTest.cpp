#include <optional>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "sqm/records/SQMConnectionRecord.h"
#include "sqm/testing/FakeHost.h"

#include "tests/records/RecordsUnderTest.h"

using sqm::SQMConnectionRecord;
using sqm::SQMEthernetConnectionRecord;
using sqm::SQMMBConnectionRecord;
using sqm::SQMWiFiConnectionRecord;
using sqm::testing::FakeHost;

namespace {

class ConnectionRecords : public ::testing::Test {
 protected:
  /// The record's text. Expects success.
  static std::string textOf(sqm::SQM& record) {
    const Formatted result = formatted(record);
    EXPECT_EQ(result.status, 0);
    return result.text.value_or("");
  }

  FakeHost fake;
};

using ConnectionRecord = ConnectionRecords;
using WiFiRecord = ConnectionRecords;
using MobileBroadbandRecord = ConnectionRecords;
using EthernetRecord = ConnectionRecords;

TEST_F(ConnectionRecord, FormatsNothingOnItsOwn) {
  SQMConnectionRecord record(fake.host);
  EXPECT_EQ(formatted(record, "a text"), (Formatted{0, "a text"}));
  EXPECT_EQ(formatted(record, std::nullopt), (Formatted{0, std::nullopt}));
  fillEverything(record);
  EXPECT_EQ(formatted(record, "a text"), (Formatted{0, "a text"}));
}

TEST_F(ConnectionRecord, HasItsNameAndAnEmptySubType) {
  const SQMConnectionRecord record(fake.host);
  EXPECT_EQ(record.recordName(), "connection");
  EXPECT_EQ(record.recordSubType(), "");
}

TEST_F(ConnectionRecord, StoresWhatItsKindsStore) {
  SQMConnectionRecord record(fake.host);
  EXPECT_EQ(record.SetAttribute(90, "V90"), 0);
  EXPECT_EQ(record.SetAttribute(91, "V91"), 0);
  EXPECT_EQ(record.SetAttributeAfterXMLCompatibleFormat(13, "a&b"), 0);
  EXPECT_THROW(record.SetAttribute(6, std::nullopt), std::invalid_argument);
  EXPECT_EQ(record.recordValues()->find("F90"), "V90");
  EXPECT_EQ(record.recordValues()->find("F13"), "a&amp;b");
  EXPECT_EQ(record.recordValues()->size(), 2U);
  EXPECT_TRUE(record.clearRecord());
  EXPECT_TRUE(record.recordValues()->empty());
}

TEST_F(ConnectionRecord, CommonFieldsAreThoseThatAreStoredInAscendingOrder) {
  SQMConnectionRecord record(fake.host);
  EXPECT_EQ(record.FormatCommonSQMFields(), "");
  record.SetAttribute(22, "V22");
  record.SetAttribute(11, "V11");
  record.SetAttribute(10, "V10");
  record.SetAttribute(23, "V23");
  EXPECT_EQ(record.FormatCommonSQMFields(), "<F11>V11</F11><F22>V22</F22>");
  record.SetAttribute(16, "");
  EXPECT_EQ(record.FormatCommonSQMFields(), "<F11>V11</F11><F16></F16><F22>V22</F22>");
}

TEST_F(ConnectionRecord, CommonFieldsAreEmptyWithoutTheResource) {
  fake.removeFieldNames();
  EXPECT_EQ(SQMConnectionRecord(fake.host).FormatCommonSQMFields(), "");
}

TEST_F(ConnectionRecords, SubTypesOfWiFiAndEthernetFollowTheFieldNamesAndThatOfMobileBroadbandDoesNot) {
  auto names = FakeHost::defaultFieldNames();
  names[10] = "wifi";
  names[42] = "mobile";
  names[74] = "ethernet";
  fake.setFieldNames(names);
  EXPECT_EQ(SQMWiFiConnectionRecord(fake.host).recordSubType(), "wifi");
  EXPECT_EQ(SQMMBConnectionRecord(fake.host).recordSubType(), "mobiledata");
  EXPECT_EQ(SQMEthernetConnectionRecord(fake.host).recordSubType(), "ethernet");
}

TEST_F(ConnectionRecords, SubTypesFromTheFieldNamesMayBeMissing) {
  fake.removeFieldNames();
  EXPECT_EQ(SQMWiFiConnectionRecord(fake.host).recordSubType(), std::nullopt);
  EXPECT_EQ(SQMMBConnectionRecord(fake.host).recordSubType(), "mobiledata");
  EXPECT_EQ(SQMEthernetConnectionRecord(fake.host).recordSubType(), std::nullopt);
}

TEST_F(ConnectionRecords, SubTypesBeyondAShortTableAreAnError) {
  auto names = FakeHost::defaultFieldNames();
  names.resize(10);
  fake.setFieldNames(names);
  EXPECT_THROW(static_cast<void>(SQMWiFiConnectionRecord(fake.host).recordSubType()), std::out_of_range);
  EXPECT_EQ(SQMMBConnectionRecord(fake.host).recordSubType(), "mobiledata");
  EXPECT_THROW(static_cast<void>(SQMEthernetConnectionRecord(fake.host).recordSubType()), std::out_of_range);
}

TEST_F(ConnectionRecords, StopRepeatsTheValuesOfTheStartThatItDoesNotSetAgain) {
  SQMWiFiConnectionRecord record(fake.host);
  for (const int field : {6, 11, 17, 23}) record.SetAttribute(field, "start");
  record.SetAttribute(8, "start");
  EXPECT_EQ(textOf(record),
            "<F5><F6 timestamp=\"0000000000\">start</F6><F8>start</F8><F10><F11>start</F11>"
            "<F17>start</F17><F23>start</F23><F87></F87></F10></F5>");
  for (const int field : {6, 11}) record.SetAttribute(field, "stop");
  record.SetAttribute(8, "stop");
  EXPECT_EQ(textOf(record),
            "<F5><F6 timestamp=\"0000000000\">stop</F6><F8>stop</F8><F10><F11>stop</F11>"
            "<F17>start</F17><F23>start</F23><F87></F87></F10></F5>");
}

TEST_F(WiFiRecord, EmptyValuesOfThreeFieldsAreLeftOut) {
  SQMWiFiConnectionRecord record(fake.host);
  for (const int field : {6, 47, 34, 33}) record.SetAttribute(field, "");
  EXPECT_EQ(textOf(record), "<F5><F6 timestamp=\"0000000000\"></F6><F10><F87></F87></F10></F5>");
  record.SetAttribute(34, " ");
  EXPECT_EQ(record.FormatWiFiConnectionFields(), "<F34> </F34><F87></F87>");
}

TEST_F(WiFiRecord, EmptyValuesOfTheOtherFieldsAreWritten) {
  SQMWiFiConnectionRecord record(fake.host);
  for (int field = 23; field <= 32; ++field) record.SetAttribute(field, "");
  EXPECT_EQ(record.FormatWiFiConnectionFields(),
            "<F23></F23><F24></F24><F25></F25><F26></F26><F27></F27><F28></F28><F29></F29><F30></F30><F31></F31>"
            "<F32></F32><F87></F87>");
}

TEST_F(WiFiRecord, ItsFieldsComeInOneOrderHoweverTheyWereSet) {
  SQMWiFiConnectionRecord record(fake.host);
  for (const int field : {87, 33, 34, 47, 32, 23}) record.SetAttribute(field, "V" + std::to_string(field));
  EXPECT_EQ(record.FormatWiFiConnectionFields(),
            "<F23>V23</F23><F32>V32</F32><F47>V47</F47><F34>V34</F34><F33>V33</F33><F87>V87</F87>");
}

TEST_F(WiFiRecord, LeavesOutTheFieldsAroundTheEventThatAreNotStored) {
  SQMWiFiConnectionRecord record(fake.host);
  record.SetAttribute(6, "V6");
  record.SetAttribute(8, "");
  EXPECT_EQ(textOf(record), "<F5><F6 timestamp=\"0000000000\">V6</F6><F8></F8><F10><F87></F87></F10></F5>");
}

TEST_F(WiFiRecord, KeepsField35ForTheFiltersAndDoesNotWriteIt) {
  SQMWiFiConnectionRecord record(fake.host);
  record.SetAttribute(6, "V6");
  record.SetAttribute(35, "V35");
  EXPECT_EQ(record.recordValues()->find("F35"), "V35");
  EXPECT_EQ(textOf(record).find("35"), std::string::npos);
}

TEST_F(MobileBroadbandRecord, AlwaysWritesTwoOfItsFields) {
  EXPECT_EQ(SQMMBConnectionRecord(fake.host).FormatMBConnectionFields(), "<F46></F46><F50></F50>");
}

TEST_F(MobileBroadbandRecord, Field35IsWrittenAfter43) {
  SQMMBConnectionRecord record(fake.host);
  sqm::ValueDictionary values;
  for (const char* field : {"44", "35", "43"}) values.set(std::string("F") + field, std::string("V") + field);
  record.updateRecordValues(values);
  EXPECT_EQ(record.FormatMBConnectionFields(), "<F43>V43</F43><F35>V35</F35><F44>V44</F44><F46></F46><F50></F50>");
}

TEST_F(MobileBroadbandRecord, EmptyValuesAreWritten) {
  SQMMBConnectionRecord record(fake.host);
  for (const int field : {47, 61}) record.SetAttribute(field, "");
  EXPECT_EQ(record.FormatMBConnectionFields(), "<F46></F46><F47></F47><F50></F50><F61></F61>");
}

TEST_F(EthernetRecord, AlwaysWritesItsField) {
  SQMEthernetConnectionRecord record(fake.host);
  EXPECT_EQ(record.FormatEthernetConnectionFields(), "<F73></F73>");
  record.SetAttribute(73, "V73");
  EXPECT_EQ(record.FormatEthernetConnectionFields(), "<F73>V73</F73>");
}

TEST_F(EthernetRecord, WritesField15BetweenItsNeighbours) {
  SQMEthernetConnectionRecord record(fake.host);
  sqm::ValueDictionary values;
  for (const char* field : {"6", "16", "15", "14"}) values.set(std::string("F") + field, std::string("V") + field);
  record.updateRecordValues(values);
  EXPECT_EQ(textOf(record),
            "<F5><F6 timestamp=\"0000000000\">V6</F6><F7></F7><F8></F8><F9></F9><F74>"
            "<F14>V14</F14><F15>V15</F15><F16>V16</F16><F73></F73></F74></F5>");
}

}  // namespace
