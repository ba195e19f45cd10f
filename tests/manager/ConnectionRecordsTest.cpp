#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/CaseName.h"
#include "tests/support/ManagerTest.h"

using sqm::RecordType;
using sqm::SQMSessionParams;
using sqm::ValueDictionary;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr std::int64_t kWiFi = 1;
constexpr std::int64_t kMobile = 2;
constexpr std::int64_t kEthernet = 3;

class ConnectionRecords : public ManagerTest {
 protected:
  std::vector<std::string> storedConnections() { return stored(RecordType::connection); }
};

TEST_F(ConnectionRecords, ExactTextsOfAWiredAttempt) {
  fakes.prefs.timeStamp = "\"2026-11-21T10:00:00Z\"";
  manager->setDeviceType(kEthernet);
  const SQMSessionParams start = paramsWith({{6, "id"}, {7, "seven"}, {13, "a<b"}, {16, "16"}, {73, "1000"}});
  EXPECT_FALSE(manager->sqmCreateStartRecord(&start));
  const SQMSessionParams stop = paramsWith({{6, "id"}, {7, "7"}, {13, "b"}, {20, "ok"}});
  EXPECT_FALSE(manager->sqmCreateStopRecord(&stop));
  EXPECT_THAT(storedConnections(),
              ElementsAre("<F5><F6 timestamp=\"2026-11-21T10:00:00Z\">id</F6><F7>seven</F7><F8>start</F8><F9>0</F9>"
                          "<F74><F11></F11><F12></F12><F13>a&lt;b</F13><F14></F14><F16>16</F16><F17></F17><F18></F18>"
                          "<F19></F19><F21></F21><F22></F22><F73>1000</F73></F74></F5>",
                          "<F5><F6 timestamp=\"2026-11-21T10:00:00Z\">id</F6><F7>7</F7><F8>stop</F8><F9>1</F9>"
                          "<F74><F11></F11><F12></F12><F13>b</F13><F14></F14><F16></F16><F17></F17><F18></F18>"
                          "<F19></F19><F20>ok</F20><F21></F21><F22></F22><F73>1000</F73></F74></F5>"));
}

struct MediumCase {
  const char* name;
  std::int64_t deviceType;
  std::string withoutNames;  // a start record's text without a field-name table
};

class ConnectionMedium : public ConnectionRecords, public ::testing::WithParamInterface<MediumCase> {
 protected:
  ConnectionMedium() { manager->setDeviceType(GetParam().deviceType); }
};

INSTANTIATE_TEST_SUITE_P(Media, ConnectionMedium,
                         ::testing::Values(MediumCase{"WiFi", kWiFi,
                                                      "<(null)><(null) timestamp=\"0000000000\"></(null)>"
                                                      "<(null)><(null)></(null)></(null)></(null)>"},
                                           MediumCase{"Mobile", kMobile,
                                                      "<(null)><(null) timestamp=\"0000000000\"></(null)>"
                                                      "<(null)></(null)><(null)></(null)><(null)></(null)>"
                                                      "<(null)><(null)></(null)><(null)></(null)></(null)></(null)>"},
                                           MediumCase{"Ethernet", kEthernet,
                                                      "<(null)><(null) timestamp=\"0000000000\"></(null)>"
                                                      "<(null)></(null)><(null)></(null)><(null)></(null)>"
                                                      "<(null)><(null)></(null)></(null)></(null)>"}),
                         CaseName());

TEST_P(ConnectionMedium, StopKeepsTheStartsValuesButThoseItSetsItself) {
  const SQMSessionParams start = everyParam("start");
  const SQMSessionParams stop = everyParam("stop");
  manager->sqmCreateStartRecord(&start);
  Values expected = queriedValues();
  for (const int plain : {7, 11, 12, 16, 20, 21, 22}) {
    expected["F" + std::to_string(plain)] = "stop" + std::to_string(plain) + "&";
  }
  expected["F6"] = "stop6&amp;";
  expected["F13"] = "stop13&amp;";
  expected["F8"] = "stop";
  expected["F9"] = "1";
  manager->sqmCreateStopRecord(&stop);
  EXPECT_EQ(queriedValues(), expected);
  EXPECT_EQ(storedConnections().size(), 2U);
}

TEST_P(ConnectionMedium, SecondStopReusesTheRecordAndItsIndex) {
  const SQMSessionParams params = everyParam();
  manager->sqmCreateStartRecord(&params);
  manager->sqmCreateStopRecord(&params);
  manager->sqmCreateStopRecord(&params);
  const auto records = storedConnections();
  ASSERT_EQ(records.size(), 3U);
  EXPECT_EQ(records[1], records[2]);
}

TEST_P(ConnectionMedium, SecondStartBeginsAfresh) {
  const SQMSessionParams full = everyParam();
  const SQMSessionParams bare = paramsWith({{6, "id"}});
  manager->sqmCreateStartRecord(&bare);
  manager->sqmCreateStartRecord(&full);
  manager->sqmCreateStopRecord(&full);
  manager->sqmCreateStartRecord(&bare);
  const auto records = storedConnections();
  ASSERT_EQ(records.size(), 4U);
  EXPECT_EQ(records[3], records[0]);
}

TEST_P(ConnectionMedium, WithoutParametersNothingHappens) {
  const SQMSessionParams params = everyParam();
  manager->sqmCreateStartRecord(&params);
  fakes.filter.queries.clear();
  EXPECT_FALSE(manager->sqmCreateStartRecord(nullptr));
  EXPECT_FALSE(manager->sqmCreateStopRecord(nullptr));
  EXPECT_THAT(fakes.filter.queries, IsEmpty());
  EXPECT_EQ(storedConnections().size(), 1U);
  manager->sqmCreateStopRecord(&params);
  EXPECT_EQ(queriedValues()["F9"], "1") << "the record and its index are still those of the start";
  EXPECT_EQ(queriedValues()["F17"], "v17&");
}

TEST_P(ConnectionMedium, EmptyParametersCountAsParameters) {
  const SQMSessionParams empty;
  manager->sqmCreateStartRecord(&empty);
  const auto records = storedConnections();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_TRUE(records[0].starts_with("<F5><F6 timestamp=\"0000000000\"></F6><F7></F7><F8>start</F8>")) << records[0];
}

TEST_P(ConnectionMedium, DisabledStartStillLeavesItsRecordToTheStop) {
  const SQMSessionParams start = everyParam("start");
  const SQMSessionParams stop = everyParam("stop");
  fakes.filter.disabled = [](const auto& query) { return query.values.find("F8") == "start"; };
  manager->sqmCreateStartRecord(&start);
  EXPECT_THAT(storedConnections(), IsEmpty());
  manager->sqmCreateStopRecord(&stop);
  EXPECT_EQ(storedConnections().size(), 1U);
  EXPECT_EQ(queriedValues()["F17"], "start17&");
  EXPECT_EQ(queriedValues()["F9"], "1");
}

TEST_P(ConnectionMedium, DisabledStopLeavesItsRecordToTheNextStop) {
  const SQMSessionParams start = everyParam("start");
  const SQMSessionParams stop = everyParam("stop");
  manager->sqmCreateStartRecord(&start);
  fakes.filter.disabled = [](const auto&) { return true; };
  manager->sqmCreateStopRecord(&stop);
  const Values own = queriedValues();
  EXPECT_EQ(storedConnections().size(), 1U);
  fakes.filter.disabled = nullptr;
  manager->sqmCreateStopRecord(&stop);
  EXPECT_EQ(queriedValues(), own);
  EXPECT_EQ(queriedValues()["F17"], "start17&");
  EXPECT_EQ(storedConnections().size(), 2U);
}

TEST_P(ConnectionMedium, WhatAFilterReplacesDiffersInTheStoredTextAlone) {
  const SQMSessionParams params = everyParam();
  manager->sqmCreateStartRecord(&params);
  const Values own = queriedValues();
  manager->sqmCreateStopRecord(&params);
  const auto unfiltered = storedConnections();
  const Values ownAtStop = queriedValues();

  fakes.filter.replaced = [](const auto& query) {
    ValueDictionary values = query.values;
    values.set("F17", "filtered");
    values.erase("F19");
    values.set("F20", "added");
    return values;
  };
  manager->sqmCreateStartRecord(&params);
  EXPECT_EQ(queriedValues(), own);
  std::string expected = unfiltered[0];
  const auto replace = [&](std::string_view from, std::string_view to) {
    expected.replace(expected.find(from), from.size(), to);
  };
  replace("<F17>v17&</F17>", "<F17>filtered</F17>");
  replace("<F19>v19&</F19>", "<F20>added</F20>");
  EXPECT_EQ(storedConnections().back(), expected);

  fakes.filter.replaced = nullptr;
  manager->sqmCreateStopRecord(&params);
  EXPECT_EQ(queriedValues(), ownAtStop);
  EXPECT_EQ(storedConnections().back(), unfiltered[1]);
}

TEST_P(ConnectionMedium, WithoutAFieldNameTableElementsHaveNoNames) {
  fakes.removeFieldNames();
  const SQMSessionParams params = everyParam();
  manager->sqmCreateStartRecord(&params);
  EXPECT_THAT(storedConnections(), ElementsAre(GetParam().withoutNames));
  EXPECT_THAT(queriedValues(), IsEmpty());
  EXPECT_EQ(fakes.filter.queries.back().name, "connection");
}

TEST_P(ConnectionMedium, WithoutAFieldNameTableTheStopIsEmpty) {
  // The values that the start restores create the dictionary, in which the required field is missing.
  fakes.removeFieldNames();
  const SQMSessionParams params = everyParam();
  manager->sqmCreateStartRecord(&params);
  manager->sqmCreateStopRecord(&params);
  EXPECT_THAT(storedConnections(), ElementsAre(GetParam().withoutNames, ""));
}

TEST_P(ConnectionMedium, WithoutAFieldNameTableReplacedValuesDoNotValidate) {
  fakes.removeFieldNames();
  fakes.filter.replaced = [](const auto&) {
    ValueDictionary values;
    values.set("F6", "id");
    return values;
  };
  const SQMSessionParams params = everyParam();
  manager->sqmCreateStartRecord(&params);
  manager->sqmCreateStopRecord(&params);
  EXPECT_THAT(storedConnections(), ElementsAre("", ""));
  EXPECT_THAT(queriedValues(), IsEmpty()) << "the record of the stop has its own values again, which are none";
}

TEST_P(ConnectionMedium, FieldNameTableThatCannotBeReadGivesTheEmptyText) {
  fakes.setFieldNames(std::nullopt);
  const SQMSessionParams params = everyParam();
  manager->sqmCreateStartRecord(&params);
  manager->sqmCreateStopRecord(&params);
  EXPECT_THAT(storedConnections(), ElementsAre("", ""));
}

TEST_P(ConnectionMedium, StopWithoutAStartStoresTheEmptyText) {
  const SQMSessionParams params = everyParam();
  EXPECT_FALSE(manager->sqmCreateStopRecord(&params));
  EXPECT_THAT(storedConnections(), ElementsAre(""));
  EXPECT_THAT(log(), ElementsAre("USER 2 Generated Connection Stop Record  \n \t  \n\t"));
  ASSERT_EQ(fakes.filter.queries.size(), 1U);
  EXPECT_EQ(fakes.filter.queries[0].name, std::nullopt);
  EXPECT_EQ(fakes.filter.queries[0].subType, std::nullopt);
  EXPECT_TRUE(fakes.filter.queries[0].values.empty());
}

TEST_P(ConnectionMedium, StopWithoutAStartMayBeDisabledByItsAbsentName) {
  fakes.filter.disabled = [](const auto& query) { return !query.name.has_value(); };
  const SQMSessionParams params = everyParam();
  EXPECT_FALSE(manager->sqmCreateStopRecord(&params));
  EXPECT_THAT(storedConnections(), IsEmpty());
  EXPECT_THAT(log(), ElementsAre("USER 2 Stopped generation of  connection Stop Record as recording disabled \n\t"));
}

TEST_P(ConnectionMedium, StopWithoutAStartIgnoresReplacedValues) {
  fakes.filter.replaced = [](const auto&) {
    ValueDictionary values;
    values.set("F6", "id");
    return values;
  };
  const SQMSessionParams params = everyParam();
  manager->sqmCreateStopRecord(&params);
  EXPECT_THAT(storedConnections(), ElementsAre(""));
}

TEST_P(ConnectionMedium, AnotherMediumSetBeforeTheStopChangesNothing) {
  const SQMSessionParams params = everyParam();
  manager->sqmCreateStartRecord(&params);
  const auto subType = fakes.filter.queries.back().subType;
  for (const std::int64_t other : {kWiFi, kMobile, kEthernet}) {
    manager->setDeviceType(other);
    manager->sqmCreateStopRecord(&params);
    EXPECT_EQ(fakes.filter.queries.back().subType, subType);
  }
}

TEST_P(ConnectionMedium, UnknownMediumStopsNothingAndStartsNothing) {
  const SQMSessionParams params = everyParam();
  manager->sqmCreateStartRecord(&params);
  fakes.filter.queries.clear();
  for (const std::int64_t other : {std::int64_t{-1}, std::int64_t{0}, std::int64_t{4}, std::int64_t{7},
                                   (std::int64_t{1} << 32) + GetParam().deviceType}) {
    manager->setDeviceType(other);
    EXPECT_FALSE(manager->sqmCreateStopRecord(&params)) << other;
    EXPECT_FALSE(manager->sqmCreateStartRecord(&params)) << other;
  }
  EXPECT_THAT(fakes.filter.queries, IsEmpty());
  EXPECT_EQ(storedConnections().size(), 1U);
}

TEST_P(ConnectionMedium, StartWithAnUnknownMediumReleasesTheKeptRecord) {
  const SQMSessionParams params = everyParam();
  manager->sqmCreateStartRecord(&params);
  manager->setDeviceType(7);
  manager->sqmCreateStartRecord(&params);
  manager->setDeviceType(GetParam().deviceType);
  manager->sqmCreateStopRecord(&params);
  EXPECT_EQ(storedConnections().back(), "");
}

TEST_P(ConnectionMedium, ValuesAreDataNeverFormats) {
  const SQMSessionParams params = paramsWith({{6, "%@ %s % %ld"}, {7, "\"%@\" 100 %"}, {13, "'%n'"}});
  manager->sqmCreateStartRecord(&params);
  const auto records = storedConnections();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_TRUE(records[0].starts_with("<F5><F6 timestamp=\"0000000000\">%@ %s % %ld</F6><F7>\"%@\" 100 %</F7>"));
  EXPECT_NE(records[0].find("<F13>&apos;%n&apos;</F13>"), std::string::npos);
  EXPECT_THAT(log(), ElementsAre("USER 2 Generated  Connection start Record  \n \t " + records[0] + " \n\t"));
}

TEST_P(ConnectionMedium, NamesAreDataNeverFormats) {
  auto names = sqm::testing::FakeHost::defaultFieldNames();
  names[6] = "%@";
  names[7] = "100 % \"";
  fakes.setFieldNames(names);
  const SQMSessionParams params = paramsWith({{6, "%s"}, {7, "7"}});
  manager->sqmCreateStartRecord(&params);
  const auto records = storedConnections();
  ASSERT_EQ(records.size(), 1U);
  EXPECT_TRUE(records[0].starts_with("<F5><%@ timestamp=\"0000000000\">%s</%@><100 % \">7</100 % \">")) << records[0];
}

TEST_F(ConnectionRecords, KeyTwentyFourIsLeftOutWhenEmpty) {
  manager->setDeviceType(kWiFi);
  const struct {
    SQMSessionParams params;
    std::optional<std::string> field;
  } cases[] = {
      {paramsWith({{6, "id"}}), std::nullopt},       {paramsWith({{6, "id"}, {24, ""}}), std::nullopt},
      {paramsWith({{6, "id"}, {24, " "}}), " "},     {paramsWith({{6, "id"}, {24, "no"}}), "no"},
      {paramsWith({{6, "id"}, {24, "<&>"}}), "<&>"},
  };
  for (const auto& [params, field] : cases) {
    manager->sqmCreateStartRecord(&params);
    const auto value = fakes.filter.queries.back().values.find("F24");
    EXPECT_EQ(value, field);
  }
}

TEST_F(ConnectionRecords, StopThatFailsWhileFormattingRestoresTheKeptRecordsOwnValues) {
  // The start fails on field 35, which is beyond the table, and its record is kept. All fields of the stop are within.
  auto names = sqm::testing::FakeHost::defaultFieldNames();
  names.resize(30);
  fakes.setFieldNames(names);
  manager->setDeviceType(kWiFi);
  fakes.filter.replaced = [](const auto& query) {
    ValueDictionary values = query.values;
    values.set("F17", "filtered");
    return values;
  };
  const SQMSessionParams params = everyParam();
  EXPECT_THROW(manager->sqmCreateStartRecord(&params), std::out_of_range);
  EXPECT_THROW(manager->sqmCreateStopRecord(&params), std::out_of_range);
  EXPECT_EQ(queriedValues()["F17"], "v17&");
  EXPECT_THROW(manager->sqmCreateStopRecord(&params), std::out_of_range);
  EXPECT_EQ(queriedValues()["F17"], "v17&");
  EXPECT_EQ(storedInAll(), 0U);
  EXPECT_THAT(log(), IsEmpty());
}

}  // namespace
