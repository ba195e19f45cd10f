#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/ManagerTest.h"

using sqm::RecordType;
using sqm::SQMSessionParams;
using sqm::ValueDictionary;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

// --- Device -------------------------------------------------------------------------------------------------------

class DeviceRecords : public ManagerTest {};

TEST_F(DeviceRecords, ExactText) {
  const SQMSessionParams params = everyParam();
  EXPECT_TRUE(manager->sqmCreateDeviceRecord(&params));
  EXPECT_THAT(stored(RecordType::device),
              ElementsAre("<F63><F6 timestamp=\"0000000000\">v6&amp;</F6><F43>v43&amp;</F43><F64>v64&amp;</F64>"
                          "<F54>v54&</F54><F66>v66&amp;</F66><F67>v67&amp;</F67><F68>v68&amp;</F68><F69>v69&amp;</F69>"
                          "<F70>v70&amp;</F70><F71>v71&amp;</F71><F72>v72&amp;</F72></F63>"));
}

TEST_F(DeviceRecords, RequireParameters) {
  EXPECT_THROW(manager->sqmCreateDeviceRecord(nullptr), std::invalid_argument);
  EXPECT_EQ(storedInAll(), 0U);
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_THAT(fakes.filter.queries, IsEmpty());
}

TEST_F(DeviceRecords, AreDisabledByTheWordAndNotByTheTablesSubType) {
  const SQMSessionParams params = everyParam();
  fakes.filter.disabled = [](const auto& query) { return query.subType == "F63"; };
  EXPECT_TRUE(manager->sqmCreateDeviceRecord(&params));
  EXPECT_EQ(stored(RecordType::device).size(), 1U);
  fakes.filter.disabled = [](const auto& query) { return query.subType == "mobiledevice"; };
  EXPECT_TRUE(manager->sqmCreateDeviceRecord(&params));
  EXPECT_EQ(stored(RecordType::device).size(), 1U);
}

TEST_F(DeviceRecords, WithoutAFieldNameTableStoreTheEmptyText) {
  fakes.removeFieldNames();
  const SQMSessionParams params = everyParam();
  EXPECT_TRUE(manager->sqmCreateDeviceRecord(&params));
  EXPECT_TRUE(manager->sqmCreateDeviceRecord(nullptr)) << "absent values are no error where nothing can be stored";
  EXPECT_THAT(stored(RecordType::device), ElementsAre("", ""));
}

// --- Client -------------------------------------------------------------------------------------------------------

class ClientRecords : public ManagerTest {};

TEST_F(ClientRecords, ExactText) {
  fakes.prefs.timeStamp = "\"1\"";
  const SQMSessionParams params = everyParam();
  EXPECT_TRUE(manager->sqmCreateClientRecord(&params));
  EXPECT_THAT(stored(RecordType::client),
              ElementsAre("<client><F6 timestamp=\"1\">v6&amp;</F6><F7>v7&amp;</F7>"
                          "<F0><locale>English (United States)</locale><os>Mac OS X</os><osVersion>10.8.2</osVersion>"
                          "</F0><F1>v1&</F1><F2>v2&</F2><F3>v3&</F3><F4>v4&</F4></client>"));
}

TEST_F(ClientRecords, TakeTheEnvironmentFromTheHostAndEscapeItInTheText) {
  fakes.locale.current = "fr_FR";
  fakes.locale.name = "French <France>";
  fakes.utilities.osName = "Mac & OS";
  fakes.utilities.osVersion = "\"10\" %@";
  const SQMSessionParams params = paramsWith({{6, "id"}});
  manager->sqmCreateClientRecord(&params);
  EXPECT_EQ(fakes.locale.asked, std::pair(std::string("fr_FR"), std::string("en_GB")));
  EXPECT_EQ(queriedValues()["locale"], "French <France>");
  EXPECT_EQ(queriedValues()["os"], "Mac & OS");
  EXPECT_EQ(queriedValues()["osVersion"], "\"10\" %@");
  EXPECT_EQ(queriedValues()["F0"], "");
  EXPECT_THAT(stored(RecordType::client), ElementsAre("<client><F6 timestamp=\"0000000000\">id</F6><F7></F7>"
                                                      "<F0><locale>French &lt;France&gt;</locale><os>Mac &amp; OS</os>"
                                                      "<osVersion>&quot;10&quot; %@</osVersion></F0>"
                                                      "<F1></F1><F2></F2><F3></F3><F4></F4></client>"));
}

TEST_F(ClientRecords, LocaleWithoutANameIsEmpty) {
  fakes.locale.name = std::nullopt;
  const SQMSessionParams params = everyParam();
  manager->sqmCreateClientRecord(&params);
  EXPECT_THAT(queriedValues(), ::testing::Contains(Pair("locale", "")));
}

TEST_F(ClientRecords, WithoutParametersStoreTheEmptyText) {
  EXPECT_TRUE(manager->sqmCreateClientRecord(nullptr));
  EXPECT_THAT(stored(RecordType::client), ElementsAre(""));
  EXPECT_THAT(log(), ElementsAre("USER 2 Generated CLIENT Record  \n \t  \n\t"));
  EXPECT_EQ(queriedValues(),
            (Values{{"locale", "English (United States)"}, {"os", "Mac OS X"}, {"osVersion", "10.8.2"}, {"F0", ""}}));
}

TEST_F(ClientRecords, WithoutAFieldNameTableStoreTheEmptyText) {
  fakes.removeFieldNames();
  const SQMSessionParams params = everyParam();
  EXPECT_TRUE(manager->sqmCreateClientRecord(&params));
  EXPECT_THAT(stored(RecordType::client), ElementsAre(""));
  EXPECT_THAT(queriedValues(), IsEmpty());
}

// --- Application --------------------------------------------------------------------------------------------------

class ApplicationRecords : public ManagerTest {
 protected:
  std::vector<std::string> storedApplications() { return stored(RecordType::application); }

  /// The number that a new application record carries.
  std::string indexOf(bool (sqm::SQMManager::*create)(const SQMSessionParams*)) {
    (*manager.*create)(&params);
    return queriedValues()["F78"];
  }
  std::string indexOfStart() { return indexOf(&sqm::SQMManager::sqmCreateApplicationStartRecord); }
  std::string indexOfStop() { return indexOf(&sqm::SQMManager::sqmCreateApplicationStopRecord); }

  const SQMSessionParams params = everyParam();
};

TEST_F(ApplicationRecords, ExactTexts) {
  EXPECT_TRUE(manager->sqmCreateApplicationStartRecord(&params));
  EXPECT_TRUE(manager->sqmCreateApplicationStopRecord(&params));
  EXPECT_THAT(
      storedApplications(),
      ElementsAre("<vpn><F6 timestamp=\"0000000000\">v6&amp;</F6><F75>v75&</F75><F76>v76&amp;</F76>"
                  "<F77>start</F77><F78>-1</F78><F79>v79&</F79><F80>v80&</F80><F13>v13&amp;</F13><F86>v86&</F86>"
                  "<F81>v81&amp;</F81><F82>v82&</F82><F83>v83&</F83><gateway>v85&amp;</gateway></vpn>",
                  "<vpn><F6 timestamp=\"0000000000\">v6&amp;</F6><F75>v75&</F75><F76>v76&amp;</F76>"
                  "<F77>stop</F77><F78>0</F78><F79>v79&</F79><F80>v80&</F80><F13>v13&amp;</F13><F86>v86&</F86>"
                  "<F82>v82&</F82><F84>v84&</F84><gateway>v85&amp;</gateway></vpn>"));
}

TEST_F(ApplicationRecords, WithoutAConnectionStartAreNumberedMinusOneAndZero) {
  EXPECT_EQ(indexOfStart(), "-1");
  EXPECT_EQ(indexOfStop(), "0");
}

TEST_F(ApplicationRecords, AfterAConnectionStartAreNumberedZeroAndOne) {
  manager->setDeviceType(1);
  manager->sqmCreateStartRecord(&params);
  EXPECT_EQ(indexOfStart(), "0");
  EXPECT_EQ(indexOfStop(), "1");
  manager->sqmCreateStopRecord(&params);
  EXPECT_EQ(indexOfStart(), "0") << "a connection stop does not count";
}

TEST_F(ApplicationRecords, StartWithAnUnknownMediumSetsTheIndexBack) {
  manager->setDeviceType(1);
  manager->sqmCreateStartRecord(&params);
  manager->setDeviceType(0);
  manager->sqmCreateStartRecord(&params);
  EXPECT_EQ(indexOfStart(), "-1");
}

TEST_F(ApplicationRecords, StopRepeatsNothingOfTheStart) {
  const SQMSessionParams start = everyParam("start");
  const SQMSessionParams bare = paramsWith({{6, "id"}});
  manager->sqmCreateApplicationStartRecord(&start);
  manager->sqmCreateApplicationStopRecord(&bare);
  const Values values = queriedValues();
  EXPECT_FALSE(values.contains("F81"));
  EXPECT_FALSE(values.contains("F83"));
  EXPECT_TRUE(values.contains("F84"));
  EXPECT_EQ(values.find("F75")->second, "");
}

TEST_F(ApplicationRecords, StartKeepsItsRecord) {
  EXPECT_EQ(manager->sqmAppLicationRecord(), nullptr);
  manager->sqmCreateApplicationStartRecord(&params);
  const auto first = manager->sqmAppLicationRecord();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(valuesOf(*first->recordValues()), queriedValues());
  manager->sqmCreateApplicationStopRecord(&params);
  EXPECT_EQ(manager->sqmAppLicationRecord(), first);
  manager->sqmCreateApplicationStartRecord(&params);
  EXPECT_NE(manager->sqmAppLicationRecord(), first);
}

TEST_F(ApplicationRecords, KeptRecordHoldsItsOwnValuesAfterAFilter) {
  fakes.filter.replaced = [](const auto&) {
    ValueDictionary values;
    values.set("F6", "filtered");
    return values;
  };
  manager->sqmCreateApplicationStartRecord(&params);
  EXPECT_EQ(valuesOf(*manager->sqmAppLicationRecord()->recordValues()), queriedValues());
  EXPECT_EQ(queriedValues()["F6"], "v6&amp;");
}

TEST_F(ApplicationRecords, KeptRecordHoldsTheStopsOwnValuesAfterAFilter) {
  manager->sqmCreateApplicationStartRecord(&params);
  fakes.filter.replaced = [](const auto&) {
    ValueDictionary values;
    values.set("F6", "filtered");
    return values;
  };
  EXPECT_TRUE(manager->sqmCreateApplicationStopRecord(&params));
  EXPECT_THAT(storedApplications().back(), ::testing::HasSubstr(">filtered</F6>"));
  EXPECT_EQ(valuesOf(*manager->sqmAppLicationRecord()->recordValues()), queriedValues());
  EXPECT_EQ(queriedValues()["F6"], "v6&amp;");
  EXPECT_EQ(queriedValues()["F77"], "stop");
}

TEST_F(ApplicationRecords, DisabledStartKeepsItsRecordForTheStop) {
  fakes.filter.disabled = [](const auto&) { return true; };
  EXPECT_TRUE(manager->sqmCreateApplicationStartRecord(&params));
  EXPECT_THAT(storedApplications(), IsEmpty());
  const auto kept = manager->sqmAppLicationRecord();
  ASSERT_NE(kept, nullptr);
  EXPECT_EQ(valuesOf(*kept->recordValues()), queriedValues());
  EXPECT_EQ(queriedValues()["F77"], "start");
  fakes.filter.disabled = nullptr;
  EXPECT_TRUE(manager->sqmCreateApplicationStopRecord(&params));
  EXPECT_EQ(manager->sqmAppLicationRecord(), kept);
  EXPECT_EQ(storedApplications().size(), 1U);
}

TEST_F(ApplicationRecords, DisabledStopKeepsItsValuesInTheRecord) {
  manager->sqmCreateApplicationStartRecord(&params);
  fakes.filter.disabled = [](const auto&) { return true; };
  EXPECT_FALSE(manager->sqmCreateApplicationStopRecord(&params));
  EXPECT_EQ(storedApplications().size(), 1U);
  EXPECT_EQ(valuesOf(*manager->sqmAppLicationRecord()->recordValues()), queriedValues());
  EXPECT_EQ(queriedValues()["F77"], "stop");
}

TEST_F(ApplicationRecords, StartWithoutParametersReplacesTheKeptRecordAndStoresNothing) {
  manager->sqmCreateApplicationStartRecord(&params);
  const auto first = manager->sqmAppLicationRecord();
  EXPECT_TRUE(manager->sqmCreateApplicationStartRecord(nullptr));
  ASSERT_NE(manager->sqmAppLicationRecord(), nullptr);
  EXPECT_NE(manager->sqmAppLicationRecord(), first);
  EXPECT_TRUE(manager->sqmAppLicationRecord()->recordValues()->empty());
  EXPECT_EQ(storedApplications().size(), 1U);
  EXPECT_EQ(log().size(), 1U);
}

TEST_F(ApplicationRecords, StopWithoutParametersDoesNothing) {
  manager->sqmCreateApplicationStartRecord(&params);
  const Values kept = valuesOf(*manager->sqmAppLicationRecord()->recordValues());
  EXPECT_FALSE(manager->sqmCreateApplicationStopRecord(nullptr));
  EXPECT_EQ(valuesOf(*manager->sqmAppLicationRecord()->recordValues()), kept);
  EXPECT_EQ(storedApplications().size(), 1U);
}

TEST_F(ApplicationRecords, StopWithoutAStartStoresTheEmptyText) {
  EXPECT_TRUE(manager->sqmCreateApplicationStopRecord(&params));
  EXPECT_THAT(storedApplications(), ElementsAre(""));
  EXPECT_THAT(log(), ElementsAre("USER 2 Generated SQM Application stop Record  \n \t  \n\t"));
  EXPECT_EQ(fakes.filter.queries.back().name, std::nullopt);
  EXPECT_EQ(fakes.filter.queries.back().subType, std::nullopt);
}

TEST_F(ApplicationRecords, StopWithoutAStartMayBeDisabled) {
  fakes.filter.disabled = [](const auto& query) { return !query.name.has_value(); };
  EXPECT_FALSE(manager->sqmCreateApplicationStopRecord(&params));
  EXPECT_THAT(storedApplications(), IsEmpty());
}

TEST_F(ApplicationRecords, StopUsesARecordThatTheClientSet) {
  const auto own = std::make_shared<sqm::SQMApplicationRecord>(fakes.host);
  manager->setSqmAppLicationRecord(own);
  EXPECT_EQ(manager->sqmAppLicationRecord(), own);
  EXPECT_TRUE(manager->sqmCreateApplicationStopRecord(&params));
  EXPECT_EQ(valuesOf(*own->recordValues()), queriedValues());
  manager->setSqmAppLicationRecord(nullptr);
  EXPECT_EQ(own.use_count(), 1);
}

TEST_F(ApplicationRecords, WithoutAFieldNameTableElementsHaveNoNames) {
  fakes.removeFieldNames();
  manager->sqmCreateApplicationStartRecord(&params);
  manager->sqmCreateApplicationStopRecord(&params);
  EXPECT_THAT(storedApplications(),
              ElementsAre("<vpn><(null) timestamp=\"0000000000\"></(null)><(null)></(null)><(null)></(null)>"
                          "<(null)></(null)><(null)></(null)><gateway></gateway></vpn>",
                          ""));
}

// --- User acceptance ----------------------------------------------------------------------------------------------

class UserAcceptanceRecords : public ManagerTest {
 protected:
  std::vector<std::string> storedAnswers() { return stored(RecordType::userAcceptance); }

  /// Lets the filter complete the values of every record by the key without which these are not formatted.
  void completeByFilter() {
    fakes.filter.replaced = [](const auto& query) {
      ValueDictionary values = query.values;
      values.set("6", "any text");
      return values;
    };
  }

  const SQMSessionParams params = everyParam();
};

TEST_F(UserAcceptanceRecords, OnTheirOwnStoreTheEmptyText) {
  EXPECT_TRUE(manager->sqmCreateUserAcceptanceRecord(&params));
  EXPECT_THAT(storedAnswers(), ElementsAre(""));
  EXPECT_THAT(log(), ElementsAre("USER 2 Generated user acceptance Record  \n \t  \n\t"));
}

TEST_F(UserAcceptanceRecords, CompletedByAFilterHaveTheirExactText) {
  completeByFilter();
  EXPECT_TRUE(manager->sqmCreateUserAcceptanceRecord(&params));
  EXPECT_THAT(storedAnswers(),
              ElementsAre("<userAcceptance><F6 timestamp=\"0000000000\">v6&amp;</F6><F13>v13&amp;</F13><F88>v88&</F88>"
                          "<F89>v89&</F89><F90>v90&</F90></userAcceptance>"));
}

TEST_F(UserAcceptanceRecords, ValidateWhenTheTableCallsFieldSixByItsDigit) {
  auto names = sqm::testing::FakeHost::defaultFieldNames();
  names[6] = "6";
  fakes.setFieldNames(names);
  manager->sqmCreateUserAcceptanceRecord(&params);
  ASSERT_EQ(storedAnswers().size(), 1U);
  EXPECT_TRUE(storedAnswers()[0].starts_with("<userAcceptance><6 timestamp=\"0000000000\">v6&amp;</6>"));
}

TEST_F(UserAcceptanceRecords, RequireParameters) {
  completeByFilter();
  EXPECT_THROW(manager->sqmCreateUserAcceptanceRecord(nullptr), std::invalid_argument);
  EXPECT_EQ(storedInAll(), 0U);
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_THAT(fakes.filter.queries, IsEmpty());
}

TEST_F(UserAcceptanceRecords, WithoutAFieldNameTableStoreTheEmptyTextUnlessAFilterCompletesThem) {
  fakes.removeFieldNames();
  manager->sqmCreateUserAcceptanceRecord(&params);
  completeByFilter();
  manager->sqmCreateUserAcceptanceRecord(&params);
  EXPECT_THAT(storedAnswers(), ElementsAre("",
                                           "<userAcceptance><(null) timestamp=\"0000000000\"></(null)><(null)></(null)>"
                                           "<(null)></(null)><(null)></(null)><(null)></(null)></userAcceptance>"));
}

}  // namespace
