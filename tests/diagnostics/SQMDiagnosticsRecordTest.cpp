#include <array>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/diagnostics/SQMDiagnosticsRecord.h"
#include "sqm/testing/FakeHost.h"

#include "tests/support/FreshProcess.h"

namespace {

using sqm::JsonArray;
using sqm::JsonObject;
using sqm::SQMDiagnosticsRecord;
using sqm::testing::FakeHost;
using Text = SQMDiagnosticsRecord::Text;

struct Property {
  const char* name;
  const Text& (SQMDiagnosticsRecord::*get)() const;
  void (SQMDiagnosticsRecord::*set)(Text);
  bool isValidated;
  bool isResetWithTheAttempt;
  bool isResetWithTheProbe;
};

using Record = SQMDiagnosticsRecord;
const Property kProperties[] = {
    {"ssid", &Record::ssid, &Record::setSsid, true, true, false},
    {"sigStrength", &Record::sigStrength, &Record::setSigStrength, true, true, false},
    {"security", &Record::security, &Record::setSecurity, false, false, false},
    {"apmac", &Record::apmac, &Record::setApmac, true, true, false},
    {"nic", &Record::nic, &Record::setNic, true, true, false},
    {"ravixUrl", &Record::ravixUrl, &Record::setRavixUrl, true, false, true},
    {"ravixUagent", &Record::ravixUagent, &Record::setRavixUagent, true, false, false},
    {"ravixResp", &Record::ravixResp, &Record::setRavixResp, true, false, true},
    {"ravixHttpStatusCode", &Record::ravixHttpStatusCode, &Record::setRavixHttpStatusCode, true, false, true},
    {"authProtocol", &Record::authProtocol, &Record::setAuthProtocol, true, true, false},
    {"dirID", &Record::dirID, &Record::setDirID, true, true, false},
    {"authUagent", &Record::authUagent, &Record::setAuthUagent, false, false, false},
    {"loginURL", &Record::loginURL, &Record::setLoginURL, true, true, false},
    {"errorCode", &Record::errorCode, &Record::setErrorCode, true, true, false},
    {"errorDetails", &Record::errorDetails, &Record::setErrorDetails, true, true, false},
};

template <typename T>
concept Deletable = requires(T* object) {
  delete object;
};
static_assert(!Deletable<SQMDiagnosticsRecord>, "the process's record is never destroyed");
static_assert(std::is_destructible_v<SQMDiagnosticsRecord>, "a record of one's own is");

class SQMDiagnosticsRecordTest : public ::testing::Test {
 protected:
  /// The value of the report, as the JSON writer is given it.
  JsonObject reported() {
    record_.formattedDiagnosticJsonBlob();
    return host_.json.objects.back();
  }

  /// The "Auth" object of the report.
  JsonObject reportedAuth() { return std::get<JsonObject>(reported().back().value); }

  void setAll() {
    for (const Property& each : kProperties) (record_.*each.set)(std::string("value of ") + each.name);
    record_.discoveryDetails()->emplace_back("found");
    record_.loginPollDetails()->emplace_back("polled");
  }

  FakeHost host_;
  SQMDiagnosticsRecord record_{host_.host};
};

TEST_F(SQMDiagnosticsRecordTest, BeginsWithAbsentTextsAndEmptyArrays) {
  for (const Property& each : kProperties) EXPECT_EQ((record_.*each.get)(), std::nullopt) << each.name;
  EXPECT_EQ(*record_.discoveryDetails(), JsonArray{});
  EXPECT_EQ(*record_.loginPollDetails(), JsonArray{});
}

TEST_F(SQMDiagnosticsRecordTest, PropertiesReturnWhatWasSet) {
  setAll();
  for (const Property& each : kProperties) EXPECT_EQ((record_.*each.get)(), std::string("value of ") + each.name);
}

TEST_F(SQMDiagnosticsRecordTest, ArraysAreSharedAndNotCopied) {
  const auto mine = std::make_shared<JsonArray>();
  record_.setDiscoveryDetails(mine);
  mine->emplace_back("later");
  EXPECT_EQ(record_.discoveryDetails(), mine);
  record_.formatDiscoveryDetails();
  record_.setLoginPollDetails(mine);
  mine->emplace_back("and last");
  record_.formatLoginPollDetails();
  EXPECT_EQ(host_.json.arrays, (std::vector{JsonArray{"later"}, JsonArray{"later", "and last"}}));
}

TEST_F(SQMDiagnosticsRecordTest, ValidateMakesThirteenAbsentTextsEmpty) {
  record_.validate();
  int validated = 0;
  for (const Property& each : kProperties) {
    EXPECT_EQ((record_.*each.get)(), each.isValidated ? Text("") : std::nullopt) << each.name;
    validated += each.isValidated ? 1 : 0;
  }
  EXPECT_EQ(validated, 13);
}

TEST_F(SQMDiagnosticsRecordTest, ValidateKeepsWhatIsThere) {
  setAll();
  record_.validate();
  for (const Property& each : kProperties) EXPECT_EQ((record_.*each.get)(), std::string("value of ") + each.name);
  EXPECT_EQ(record_.discoveryDetails()->size(), 1U);
  EXPECT_EQ(record_.loginPollDetails()->size(), 1U);
}

TEST_F(SQMDiagnosticsRecordTest, ResetEmptiesTheAttemptAndKeepsTheArraysThemselves) {
  setAll();
  const auto discovery = record_.discoveryDetails();
  const auto loginPoll = record_.loginPollDetails();
  record_.resetDiagnosticsRecord();
  for (const Property& each : kProperties) {
    EXPECT_EQ((record_.*each.get)(), each.isResetWithTheAttempt ? "" : std::string("value of ") + each.name);
  }
  EXPECT_EQ(record_.discoveryDetails(), discovery);
  EXPECT_TRUE(discovery->empty());
  EXPECT_EQ(record_.loginPollDetails(), loginPoll);
  EXPECT_TRUE(loginPoll->empty());
}

TEST_F(SQMDiagnosticsRecordTest, ResetOfANewRecordEmptiesNineTexts) {
  record_.resetDiagnosticsRecord();
  for (const Property& each : kProperties) {
    EXPECT_EQ((record_.*each.get)(), each.isResetWithTheAttempt ? Text("") : std::nullopt) << each.name;
  }
}

TEST_F(SQMDiagnosticsRecordTest, ResetTakesAbsentArrays) {
  record_.setDiscoveryDetails(nullptr);
  record_.setLoginPollDetails(nullptr);
  record_.resetDiagnosticsRecord();
  EXPECT_EQ(record_.discoveryDetails(), nullptr);
  EXPECT_EQ(record_.loginPollDetails(), nullptr);
}

TEST_F(SQMDiagnosticsRecordTest, ProbeResetLeavesTheUserAgent) {
  setAll();
  record_.resetRavixDiagnosticsRecord();
  for (const Property& each : kProperties) {
    EXPECT_EQ((record_.*each.get)(), each.isResetWithTheProbe ? "" : std::string("value of ") + each.name);
  }
  EXPECT_EQ(record_.discoveryDetails()->size(), 1U);
}

TEST_F(SQMDiagnosticsRecordTest, WrapsTheReportInATrace) {
  host_.json.objectText = R"({"as":"the writer has it"})";
  EXPECT_EQ(record_.formattedDiagnosticJsonBlob(), R"({"Trace":{"as":"the writer has it"}})");
}

TEST_F(SQMDiagnosticsRecordTest, WritesEveryFieldInItsPlace) {
  setAll();
  host_.json.arrayText = R"(["an array"])";
  EXPECT_EQ(
      reported(),
      (JsonObject{
          {"Error", JsonObject{{"Code", "value of errorCode"}, {"Details", "value of errorDetails"}}},
          {"Link", JsonObject{{"SSID", "value of ssid"}, {"Sig", "value of sigStrength"}, {"apmac", "value of apmac"}}},
          {"IP", JsonObject{{"NIC", "value of nic"}}},
          {"Ravix", JsonObject{{"URL", "value of ravixUrl"},
                               {"UA", "value of ravixUagent"},
                               {"Resp", "value of ravixResp"},
                               {"Stat", "value of ravixHttpStatusCode"}}},
          {"Auth", JsonObject{{"P", "value of authProtocol"},
                              {"Dir", "value of dirID"},
                              {"Dis", R"(["an array"])"},
                              {"Login", "value of loginURL"},
                              {"LoginPoll", R"(["an array"])"}}}}));
}

TEST_F(SQMDiagnosticsRecordTest, AFreshRecordReportsEmptyTexts) {
  const JsonObject fresh = {
      {"Error", JsonObject{{"Code", ""}, {"Details", ""}}},
      {"Link", JsonObject{{"SSID", ""}, {"Sig", ""}, {"apmac", ""}}},
      {"IP", JsonObject{{"NIC", ""}}},
      {"Ravix", JsonObject{{"URL", ""}, {"UA", ""}, {"Resp", ""}, {"Stat", ""}}},
      {"Auth", JsonObject{{"P", ""}, {"Dir", ""}, {"Dis", ""}, {"Login", ""}, {"LoginPoll", ""}}}};
  EXPECT_EQ(reported(), fresh);
  record_.setDiscoveryDetails(nullptr);
  record_.setLoginPollDetails(nullptr);
  EXPECT_EQ(reported(), fresh);
  EXPECT_TRUE(host_.json.arrays.empty());
}

TEST_F(SQMDiagnosticsRecordTest, EachArrayIsWrittenAsTextUnderItsOwnKey) {
  host_.json.arrayText = "written";
  record_.discoveryDetails()->emplace_back("found");
  EXPECT_EQ(reportedAuth(), (JsonObject{{"P", ""}, {"Dir", ""}, {"Dis", "written"}, {"Login", ""}, {"LoginPoll", ""}}));
  record_.discoveryDetails()->clear();
  record_.loginPollDetails()->emplace_back("polled");
  EXPECT_EQ(reportedAuth(), (JsonObject{{"P", ""}, {"Dir", ""}, {"Dis", ""}, {"Login", ""}, {"LoginPoll", "written"}}));
  EXPECT_EQ(host_.json.arrays, (std::vector{JsonArray{"found"}, JsonArray{"polled"}}));
}

TEST_F(SQMDiagnosticsRecordTest, SecurityAndAuthUagentNeverChangeTheReport) {
  record_.setSsid("CorpNet");
  const JsonObject report = reported();
  for (const Text& text : {Text("WPA2"), Text(""), Text("\xFF\""), Text()}) {
    record_.setSecurity(text);
    record_.setAuthUagent(text);
    EXPECT_EQ(reported(), report);
  }
}

TEST_F(SQMDiagnosticsRecordTest, PerCentSignsInTheReportAreKept) {
  host_.json.objectText = "50 %@ %d";
  EXPECT_EQ(record_.formattedDiagnosticJsonBlob(), R"({"Trace":50 %@ %d})");
}

TEST_F(SQMDiagnosticsRecordTest, EntriesAreHandedToTheWriterUnchanged) {
  const JsonArray entries = {"plain", JsonObject{{"Step", "redirect"}, {"Codes", JsonArray{"302", "200"}}}};
  *record_.discoveryDetails() = entries;
  record_.formatDiscoveryDetails();
  EXPECT_EQ(host_.json.arrays.back(), entries);
}

TEST_F(SQMDiagnosticsRecordTest, EmptyAndAbsentArraysAreTheEmptyText) {
  EXPECT_EQ(record_.formatDiscoveryDetails(), "");
  EXPECT_EQ(record_.formatLoginPollDetails(), "");
  record_.setDiscoveryDetails(nullptr);
  record_.setLoginPollDetails(nullptr);
  EXPECT_EQ(record_.formatDiscoveryDetails(), "");
  EXPECT_EQ(record_.formatLoginPollDetails(), "");
}

TEST_F(SQMDiagnosticsRecordTest, ArrayWithoutATextEndsTheAuthObjectBeforeIt) {
  setAll();
  host_.json.arrayText = std::nullopt;
  EXPECT_EQ(record_.formatDiscoveryDetails(), std::nullopt);
  EXPECT_EQ(record_.formatLoginPollDetails(), std::nullopt);
  EXPECT_EQ(reportedAuth(), (JsonObject{{"P", "value of authProtocol"}, {"Dir", "value of dirID"}}));

  record_.discoveryDetails()->clear();
  EXPECT_EQ(
      reportedAuth(),
      (JsonObject{
          {"P", "value of authProtocol"}, {"Dir", "value of dirID"}, {"Dis", ""}, {"Login", "value of loginURL"}}));
}

TEST_F(SQMDiagnosticsRecordTest, FormattingValidates) {
  record_.formattedDiagnosticJsonBlob();
  EXPECT_EQ(record_.ssid(), "");
  EXPECT_EQ(record_.security(), std::nullopt);
}

TEST_F(SQMDiagnosticsRecordTest, PassesTheEncodingAndTheLimitToTheCompressor) {
  record_.formattedDiagnosticJsonBlob();
  ASSERT_EQ(host_.compressor.calls.size(), 1U);
  EXPECT_EQ(host_.compressor.calls[0].encoding, 4);
  EXPECT_EQ(host_.compressor.calls[0].fitting, 4000U);
}

TEST_F(SQMDiagnosticsRecordTest, ReportOfMoreThan4000UnitsIsDropped) {
  for (const std::size_t length : {0U, 1U, 3999U, 4000U, 4001U, 8000U}) {
    host_.compressor.compressed = [&](std::string_view) { return std::string(length, 'x'); };
    EXPECT_EQ(record_.formattedDiagnosticJsonBlob().size(), length <= 4000 ? length : 0) << length;
  }
  EXPECT_TRUE(host_.logs.lines("SQMManager.log").empty());
}

TEST_F(SQMDiagnosticsRecordTest, ReportThatCannotBeMadeIsEmpty) {
  host_.compressor.compressed = [](std::string_view) { return std::nullopt; };
  EXPECT_EQ(record_.formattedDiagnosticJsonBlob(), "");
  host_.compressor.compressed = nullptr;
  host_.json.objectText = std::nullopt;
  EXPECT_EQ(record_.formattedDiagnosticJsonBlob(), "");
}

TEST_IN_FRESH_PROCESS(SQMDiagnosticsRecordCreation, ThereIsOneSharedRecordWhichIsIndependentOfOthers) {
  EXPECT_EQ(SQMDiagnosticsRecord::sharedSQMDiagnosticsRecord(), nullptr) << "without a host there is none";
  FakeHost host;
  sqm::Host::install(host.host);
  std::array<SQMDiagnosticsRecord*, 8> got{};
  std::vector<std::thread> threads;
  threads.reserve(got.size());
  for (SQMDiagnosticsRecord*& each : got) {
    threads.emplace_back([&each] { each = SQMDiagnosticsRecord::sharedSQMDiagnosticsRecord(); });
  }
  for (std::thread& thread : threads) thread.join();
  SQMDiagnosticsRecord* shared = SQMDiagnosticsRecord::sharedSQMDiagnosticsRecord();
  EXPECT_NE(shared, nullptr);
  EXPECT_THAT(got, ::testing::Each(shared));
  SQMDiagnosticsRecord own(host.host);
  own.setSsid("own");
  EXPECT_EQ(shared->ssid(), std::nullopt);
  shared->setErrorCode("7");
  shared->formattedDiagnosticJsonBlob();
  EXPECT_EQ(host.json.objects.back().front(), (sqm::JsonMember{"Error", JsonObject{{"Code", "7"}, {"Details", ""}}}));
}

}  // namespace
