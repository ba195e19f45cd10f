#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "sqm/records/SQMClientRecord.h"
#include "sqm/testing/FakeHost.h"

#include "tests/records/RecordsUnderTest.h"
#include "tests/support/Bytes.h"

using sqm::SQMClientRecord;
using sqm::testing::FakeHost;

namespace {

class ClientRecord : public ::testing::Test {
 protected:
  FakeHost fake;
  SQMClientRecord record{fake.host};
};

TEST_F(ClientRecord, WritesAllItsFieldsOnOneLine) {
  record.SetAttributeAfterXMLCompatibleFormat(6, "V6");
  record.SetAttributeAfterXMLCompatibleFormat(7, "V7");
  record.setValue("English (United States)", "locale");
  record.setValue("Mac OS X", "os");
  record.setValue("10.8.2", "osVersion");
  record.SetAttribute(0, "");
  for (const int field : {2, 4, 1, 3}) record.SetAttribute(field, "V" + std::to_string(field));
  EXPECT_EQ(formatted(record),
            (Formatted{0,
                       "<client><F6 timestamp=\"0000000000\">V6</F6><F7>V7</F7><F0><locale>English (United States)"
                       "</locale><os>Mac OS X</os><osVersion>10.8.2</osVersion></F0><F1>V1</F1><F2>V2</F2>"
                       "<F3>V3</F3><F4>V4</F4></client>"}));
}

TEST_F(ClientRecord, TakesTheFields0To7) {
  EXPECT_EQ(record.SetAttribute(7, "V7"), 0);
  EXPECT_EQ(record.SetAttribute(8, "V8"), 3);
  EXPECT_EQ(record.SetAttribute(91, "V91"), 3);
  EXPECT_EQ(record.SetAttribute(-1, "V"), 3);
  EXPECT_EQ(record.SetAttributeAfterXMLCompatibleFormat(8, "V8"), 3);
  EXPECT_EQ(record.recordValues()->size(), 1U);
}

TEST_F(ClientRecord, RejectsAFieldAbove90WhateverTheTableHolds) {
  fake.setFieldNames(sqm::TextArray{});
  SQMClientRecord withoutEntries(fake.host);
  EXPECT_EQ(withoutEntries.SetAttribute(91, "V91"), 3);
  EXPECT_EQ(withoutEntries.SetAttributeAfterXMLCompatibleFormat(91, "V91"), 3);
}

TEST_F(ClientRecord, ClearingKeepsEverything) {
  fillEverything(record);
  const Formatted before = formatted(record);
  EXPECT_TRUE(record.clearRecord());
  EXPECT_EQ(formatted(record), before);
}

TEST_F(ClientRecord, NeverWritesField5) {
  record.SetAttribute(6, "V6");
  record.recordValues()->set("F5", "V5");
  EXPECT_EQ(formatted(record), (Formatted{0, "<client><F6 timestamp=\"0000000000\">V6</F6></client>"}));
}

TEST_F(ClientRecord, EnvironmentNeedsItsMarker) {
  record.SetAttribute(6, "V6");
  record.setValue("English", "locale");
  record.setValue("Mac OS X", "os");
  record.setValue("10.8.2", "osVersion");
  EXPECT_EQ(record.constructEnvironmentInformation(), "");
  EXPECT_EQ(formatted(record), (Formatted{0, "<client><F6 timestamp=\"0000000000\">V6</F6></client>"}));
}

TEST_F(ClientRecord, MarkerAloneGivesNoEnvironment) {
  record.SetAttribute(6, "V6");
  record.SetAttribute(0, "");
  EXPECT_EQ(record.constructEnvironmentInformation(), "");
  EXPECT_EQ(formatted(record), (Formatted{0, "<client><F6 timestamp=\"0000000000\">V6</F6></client>"}));
}

TEST_F(ClientRecord, MarkersTextIsNotWritten) {
  record.SetAttribute(6, "V6");
  record.SetAttribute(0, "marker");
  record.setValue("Mac OS X", "os");
  EXPECT_EQ(formatted(record),
            (Formatted{0, "<client><F6 timestamp=\"0000000000\">V6</F6><F0><os>Mac OS X</os></F0></client>"}));
}

TEST_F(ClientRecord, EveryPartOfTheEnvironmentMayBeMissing) {
  const struct {
    bool locale, os, osVersion;
    const char* expected;
  } cases[] = {
      {true, false, false, "<locale>L</locale>"},
      {false, true, false, "<os>O</os>"},
      {false, false, true, "<osVersion>V</osVersion>"},
      {true, false, true, "<locale>L</locale><osVersion>V</osVersion>"},
      {true, true, true, "<locale>L</locale><os>O</os><osVersion>V</osVersion>"},
  };
  for (const auto& [locale, os, osVersion, expected] : cases) {
    SQMClientRecord some(fake.host);
    some.SetAttribute(0, "");
    if (osVersion) some.setValue("V", "osVersion");
    if (os) some.setValue("O", "os");
    if (locale) some.setValue("L", "locale");
    EXPECT_EQ(some.constructEnvironmentInformation(), expected);
  }
}

TEST_F(ClientRecord, EmptyEnvironmentValueIsWritten) {
  record.SetAttribute(6, "V6");
  record.SetAttribute(0, "");
  record.setValue("", "os");
  EXPECT_EQ(formatted(record),
            (Formatted{0, "<client><F6 timestamp=\"0000000000\">V6</F6><F0><os></os></F0></client>"}));
}

TEST_F(ClientRecord, EnvironmentValuesAreEscapedWhenTheyAreWritten) {
  record.SetAttribute(6, "V6");
  record.SetAttribute(0, "");
  record.SetAttribute(1, "a & b");
  record.setValue("Bosnia & Herzegovina", "locale");
  record.setValue("<OS>", "os");
  EXPECT_EQ(record.recordValues()->find("locale"), "Bosnia & Herzegovina");
  EXPECT_EQ(formatted(record),
            (Formatted{0,
                       "<client><F6 timestamp=\"0000000000\">V6</F6><F0><locale>Bosnia &amp; Herzegovina</locale>"
                       "<os>&lt;OS&gt;</os></F0><F1>a & b</F1></client>"}));
}

TEST_F(ClientRecord, EnvironmentValuesMayGrowManyTimesWhenTheyAreEscaped) {
  record.SetAttribute(6, "V6");
  record.SetAttribute(0, "");
  record.SetAttribute(4, repeated("after ", 1'000));
  for (const char* key : {"locale", "os", "osVersion"}) record.setValue(repeated("\"", 20'000), key);
  const std::string quotes = repeated("&quot;", 20'000);
  EXPECT_EQ(formatted(record),
            (Formatted{0, "<client><F6 timestamp=\"0000000000\">V6</F6><F0><locale>" + quotes + "</locale><os>" +
                              quotes + "</os><osVersion>" + quotes + "</osVersion></F0><F4>" +
                              repeated("after ", 1'000) + "</F4></client>"}));
}

TEST_F(ClientRecord, SetValueStoresUnderAnyKey) {
  EXPECT_EQ(record.setValue("value", "any key"), 0);
  EXPECT_EQ(record.recordValues()->find("any key"), "value");
  EXPECT_EQ(record.setValue("V6", "F6"), 0);
  EXPECT_EQ(record.ValidateRecordData(), 0);
}

TEST_F(ClientRecord, SetValueRejectsWhatIsAbsent) {
  record.setValue("English", "locale");
  EXPECT_EQ(record.setValue(std::nullopt, "locale"), 3);
  EXPECT_EQ(record.setValue("value", std::nullopt), 3);
  EXPECT_EQ(record.setValue(std::nullopt, std::nullopt), 3);
  EXPECT_EQ(record.recordValues()->find("locale"), "English");
  EXPECT_EQ(record.recordValues()->size(), 1U);
}

TEST_F(ClientRecord, WithoutTheResourceSetValueStoresNothingAndSucceeds) {
  fake.removeFieldNames();
  SQMClientRecord bare(fake.host);
  EXPECT_EQ(bare.setValue("English", "locale"), 0);
  EXPECT_EQ(bare.setValue(std::nullopt, "locale"), 3);
  EXPECT_EQ(bare.recordValues(), nullptr);
  EXPECT_EQ(bare.constructEnvironmentInformation(), "");
}

}  // namespace
