#include <algorithm>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/CaseName.h"
#include "tests/support/ManagerTest.h"
#include "tests/support/ObservedLogs.h"

using sqm::RecordType;
using sqm::SQMManager;
using sqm::SQMSessionParams;
using sqm::ValueDictionary;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

/// A call that creates a record, and everything in which it differs from the others.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which the rows read
struct Call {
  const char* name;
  std::int64_t deviceType;
  bool (SQMManager::*before)(const SQMSessionParams*);  // null when no other call precedes it
  bool (SQMManager::*create)(const SQMSessionParams*);
  RecordType type;
  std::string_view recordName;
  std::string_view subType;

  /// The fields that the call fills, in its order: "13" with the parameter of that key, "13X" with its XML-safe form,
  /// "9=0" with the text "0". A word in place of a number is a key that belongs to no field.
  std::string_view fills;

  bool storesBeforeItLogs;
  std::string_view disabledText;
  std::string_view generatedText;  // before the record's text; after it come " \n\t"
  bool result;
  bool resultWhenDisabled;
};

const Call kCalls[] = {
    {.name = "WiFiStart",
     .deviceType = 1,
     .before = nullptr,
     .create = &SQMManager::sqmCreateStartRecord,
     .type = RecordType::connection,
     .recordName = "connection",
     .subType = "F10",
     .fills = "13X 6X 7 11 12 14X 16 15X 17 18 19 21 22 23 24 25 35 87 30 32 26X 31 34 33 27X 28 29 47 8=start 9=0",
     .storesBeforeItLogs = false,
     .disabledText = "Stopped generation of connection start Record as recording disabled \n\t",
     .generatedText = "Generated  Connection start Record  \n \t ",
     .result = false,
     .resultWhenDisabled = false},
    {.name = "MobileStart",
     .deviceType = 2,
     .before = nullptr,
     .create = &SQMManager::sqmCreateStartRecord,
     .type = RecordType::connection,
     .recordName = "connection",
     .subType = "mobiledata",
     .fills = "13X 6X 7 11 12 14X 16 15X 17 18 19 43X 44X 45X 46 47 48 49 50 51 52X 53 54 55 56 57 21 22 58 59 60 61 "
              "8=start 9=0",
     .storesBeforeItLogs = false,
     .disabledText = "Stopped generation of connection start Record as recording disabled \n\t",
     .generatedText = "Generated  Connection start Record  \n \t ",
     .result = false,
     .resultWhenDisabled = false},
    {.name = "EthernetStart",
     .deviceType = 3,
     .before = nullptr,
     .create = &SQMManager::sqmCreateStartRecord,
     .type = RecordType::connection,
     .recordName = "connection",
     .subType = "F74",
     .fills = "13X 6X 7 11 12 14X 16 17 18 19 21 22 73 8=start 9=0",
     .storesBeforeItLogs = false,
     .disabledText = "Stopped generation of connection start Record as recording disabled \n\t",
     .generatedText = "Generated  Connection start Record  \n \t ",
     .result = false,
     .resultWhenDisabled = false},
    {.name = "ConnectionStop",
     .deviceType = 3,
     .before = &SQMManager::sqmCreateStartRecord,
     .create = &SQMManager::sqmCreateStopRecord,
     .type = RecordType::connection,
     .recordName = "connection",
     .subType = "F74",
     .fills = "6X 7 13X 11 12 20 8=stop 9=1 16 21 22",
     .storesBeforeItLogs = false,
     .disabledText = "Stopped generation of  connection Stop Record as recording disabled \n\t",
     .generatedText = "Generated Connection Stop Record  \n \t ",
     .result = false,
     .resultWhenDisabled = false},
    {.name = "Device",
     .deviceType = 0,
     .before = nullptr,
     .create = &SQMManager::sqmCreateDeviceRecord,
     .type = RecordType::device,
     .recordName = "device",
     .subType = "mobiledevice",
     .fills = "6X 64X 54 66X 67X 68X 69X 70X 71X 43X 72X",
     .storesBeforeItLogs = true,
     .disabledText = "Stopped generation of  SQM Device Record as recording disabled \n\t",
     .generatedText = "Generated Device Record  \n \t ",
     .result = true,
     .resultWhenDisabled = true},
    {.name = "Client",
     .deviceType = 0,
     .before = nullptr,
     .create = &SQMManager::sqmCreateClientRecord,
     .type = RecordType::client,
     .recordName = "client",
     .subType = "client",
     .fills = "6X 7X locale=English&(UK) os=Mac&OS osVersion=10.8& 0= 2 4 1 3",
     .storesBeforeItLogs = true,
     .disabledText = "Stopped generation of  SQM Client record as recording disabled \n\t",
     .generatedText = "Generated CLIENT Record  \n \t ",
     .result = true,
     .resultWhenDisabled = true},
    {.name = "ApplicationStart",
     .deviceType = 0,
     .before = nullptr,
     .create = &SQMManager::sqmCreateApplicationStartRecord,
     .type = RecordType::application,
     .recordName = "application",
     .subType = "vpn",
     .fills = "6X 13X 86 75 76X 77 78 79 80 81X 82 83 85X 77=start 78=-1",
     .storesBeforeItLogs = false,
     .disabledText = "Stopped generation of SQM Application start Record as recording is disabled\n\t",
     .generatedText = "Generated SQM Application start Record  \n \t ",
     .result = true,
     .resultWhenDisabled = true},
    {.name = "ApplicationStop",
     .deviceType = 0,
     .before = &SQMManager::sqmCreateApplicationStartRecord,
     .create = &SQMManager::sqmCreateApplicationStopRecord,
     .type = RecordType::application,
     .recordName = "application",
     .subType = "vpn",
     .fills = "6X 13X 86 75 76X 79 80 82 84 85X 77=stop 78=0",
     .storesBeforeItLogs = false,
     .disabledText = "Stopped generation of  SQM Application start Record as recording is disabled\n\t",
     .generatedText = "Generated SQM Application stop Record  \n \t ",
     .result = true,
     .resultWhenDisabled = false},
    {.name = "UserAcceptance",
     .deviceType = 0,
     .before = nullptr,
     .create = &SQMManager::sqmCreateUserAcceptanceRecord,
     .type = RecordType::userAcceptance,
     .recordName = "useracceptance",
     .subType = "",
     .fills = "6X 13X 88 89 90",
     .storesBeforeItLogs = true,
     .disabledText = "Stopped generation of SQM User Acceptance Record as recording is disabled \n\t",
     .generatedText = "Generated user acceptance Record  \n \t ",
     .result = true,
     .resultWhenDisabled = true},
};

/// One of a call's fills: the field or key, and the value.
struct Filled {
  std::optional<std::size_t> field;
  std::string key;
  std::string value;
};

Filled parsed(const std::string& fill) {
  const std::size_t equals = fill.find('=');
  const std::size_t digits = std::min(fill.find_first_not_of("0123456789"), fill.size());
  Filled filled;
  if (digits > 0) filled.field = std::stoul(fill);
  filled.key = filled.field ? "F" + std::to_string(*filled.field) : fill.substr(0, equals);
  if (equals != std::string::npos) {
    filled.value = fill.substr(equals + 1);
  } else {
    filled.value = "v" + fill.substr(0, digits) + (fill.back() == 'X' ? "&amp;" : "&");
  }
  return filled;
}

std::vector<Filled> fillsOf(const Call& call) {
  std::istringstream words{std::string(call.fills)};
  std::vector<Filled> fills;
  for (std::string word; words >> word;) fills.push_back(parsed(word));
  return fills;
}

class CreatingCall : public ManagerTest, public ::testing::WithParamInterface<Call> {
 protected:
  CreatingCall() {
    fakes.locale.name = "English&(UK)";
    fakes.utilities.osName = "Mac&OS";
    fakes.utilities.osVersion = "10.8&";
  }

  /// Makes the preceding call, and removes its traces from the log and from the queries.
  void prepare() {
    manager->setDeviceType(GetParam().deviceType);
    if (GetParam().before == nullptr) return;
    fakes.filter.disabled = [](const auto&) { return true; };
    (*manager.*GetParam().before)(&params);
    fakes.filter.disabled = nullptr;
    fakes.filter.queries.clear();
    linesBefore_ = log().size();
  }

  bool call() { return (*manager.*GetParam().create)(&params); }

  std::vector<std::string> newLines() const {
    auto lines = log();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(linesBefore_));
    return lines;
  }

  std::vector<std::string> storedOfType() { return stored(GetParam().type); }

  const SQMSessionParams params = everyParam();

 private:
  std::size_t linesBefore_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Calls, CreatingCall, ::testing::ValuesIn(kCalls), CaseName());

TEST_P(CreatingCall, FillsTheFieldsOfItsKeysAndNoOthers) {
  prepare();
  Values expected;
  if (GetParam().before == &SQMManager::sqmCreateStartRecord) {
    for (const Filled& filled : fillsOf(kCalls[2])) expected[filled.key] = filled.value;  // the Ethernet start's
  }
  for (const Filled& filled : fillsOf(GetParam())) expected[filled.key] = filled.value;
  call();
  EXPECT_EQ(queriedValues(), expected);
}

TEST_P(CreatingCall, FillsInItsOrder) {
  // Of two fields with one name the value filled last stays: each field gets one name with the next one.
  const auto fills = fillsOf(GetParam());
  const std::string shared = "shared";
  for (std::size_t at = 0; at + 1 < fills.size(); ++at) {
    const Filled& former = fills[at];
    const Filled& latter = fills[at + 1];
    if (!former.field && !latter.field) continue;
    auto names = sqm::testing::FakeHost::defaultFieldNames();
    const std::string& name = !former.field ? former.key : !latter.field ? latter.key : shared;
    if (former.field) names[*former.field] = name;
    if (latter.field) names[*latter.field] = name;
    fakes.setFieldNames(names);
    restart();
    prepare();
    call();
    const auto last = std::find_if(fills.rbegin(), fills.rend(), [&](const Filled& filled) {
      return filled.key == former.key || filled.key == latter.key;
    });
    EXPECT_EQ(queriedValues()[name], last->value) << former.key << " before " << latter.key;
  }
}

TEST_P(CreatingCall, QueriesTheFilterOnceByNameAndSubType) {
  prepare();
  call();
  ASSERT_EQ(fakes.filter.queries.size(), 1U);
  EXPECT_EQ(fakes.filter.queries[0].name, GetParam().recordName);
  EXPECT_EQ(fakes.filter.queries[0].subType, GetParam().subType);
}

TEST_P(CreatingCall, QueriesReplacementsByTheSameNameSubTypeAndValues) {
  prepare();
  sqm::testing::ScriptedFilter::Query asked;
  fakes.filter.replaced = [&](const auto& query) {
    asked = query;
    return std::nullopt;
  };
  call();
  EXPECT_EQ(asked.name, GetParam().recordName);
  EXPECT_EQ(asked.subType, GetParam().subType);
  EXPECT_EQ(valuesOf(asked.values), queriedValues());
}

TEST_P(CreatingCall, StoresOneTextUnderItsTypeAndLogsIt) {
  prepare();
  EXPECT_EQ(call(), GetParam().result);
  EXPECT_EQ(storedInAll(), 1U);
  ASSERT_EQ(storedOfType().size(), 1U);
  EXPECT_THAT(newLines(), ElementsAre("USER 2 " + std::string(GetParam().generatedText) + storedOfType()[0] + " \n\t"));
}

TEST_P(CreatingCall, KeepsTheOrderOfStoringAndLogging) {
  ObservedLogs logs;
  fakes.host.logFiles = &logs;
  restart();
  prepare();
  std::vector<std::size_t> storedWhenLogged;
  logs.onLine = [&](const std::string& file, const std::string& /*text*/) {
    if (file == "SQMManager.log") storedWhenLogged.push_back(storedOfType().size());
  };
  call();
  EXPECT_THAT(storedWhenLogged, ElementsAre(GetParam().storesBeforeItLogs ? 1U : 0U));
  logs.onLine = nullptr;
  EXPECT_EQ(storedOfType().size(), 1U);
  manager.reset();  // before the factory of its log
}

TEST_P(CreatingCall, WhereRecordingIsDisabledLogsThatAndStoresNothing) {
  prepare();
  fakes.filter.disabled = [&](const auto& query) {
    return query.name == GetParam().recordName && query.subType == GetParam().subType;
  };
  fakes.filter.replaced = [](const auto&) -> std::optional<ValueDictionary> {
    ADD_FAILURE() << "a disabled record needs no other values";
    return std::nullopt;
  };
  EXPECT_EQ(call(), GetParam().resultWhenDisabled);
  EXPECT_EQ(storedInAll(), 0U);
  EXPECT_THAT(newLines(), ElementsAre("USER 2 " + std::string(GetParam().disabledText)));
}

TEST_P(CreatingCall, FormatsTheFiltersValuesInPlaceOfTheRecordsOwn) {
  prepare();
  fakes.filter.replaced = [](const auto&) {
    ValueDictionary values;
    values.set("F6", "100 % %@ <by a filter>");
    values.set("6", "");  // a user-acceptance record without it is not formatted
    return values;
  };
  call();
  ASSERT_EQ(storedOfType().size(), 1U);
  const std::string text = storedOfType()[0];
  EXPECT_THAT(text, HasSubstr("<F6 timestamp=\"0000000000\">100 % %@ <by a filter></F6>"));
  for (const Filled& filled : fillsOf(GetParam())) {
    const bool isOfTheParameters = filled.value.starts_with("v");
    EXPECT_FALSE(isOfTheParameters && text.find(filled.value) != std::string::npos) << filled.value;
  }
}

TEST_P(CreatingCall, WithoutTheRequiredFieldStoresTheEmptyText) {
  prepare();
  fakes.filter.replaced = [](const auto&) { return ValueDictionary(); };
  EXPECT_EQ(call(), GetParam().result);
  EXPECT_THAT(storedOfType(), ElementsAre(""));
  EXPECT_THAT(newLines(), ElementsAre("USER 2 " + std::string(GetParam().generatedText) + " \n\t"));
}

TEST_P(CreatingCall, ShortFieldNameTableThrowsAndTouchesNoStoredRecord) {
  manager->sqmCreateClientRecord(nullptr);
  auto names = sqm::testing::FakeHost::defaultFieldNames();
  names.resize(6);
  fakes.setFieldNames(names);
  manager->setDeviceType(GetParam().deviceType);
  const std::size_t lines = log().size();
  if (GetParam().before != nullptr) {
    EXPECT_THROW((*manager.*GetParam().before)(&params), std::out_of_range);
  }
  EXPECT_THROW(call(), std::out_of_range);
  EXPECT_EQ(storedInAll(), 1U);
  EXPECT_EQ(log().size(), lines);
}

TEST_P(CreatingCall, WorksWithoutALog) {
  fakes.logs.refuse("SQMManager.log");
  restart();
  prepare();
  EXPECT_EQ(call(), GetParam().result);
  EXPECT_EQ(storedOfType().size(), 1U);
  EXPECT_THAT(log(), IsEmpty());
}

}  // namespace
