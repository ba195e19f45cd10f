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
  /// The text of the report, before it was compressed.
  std::string reported() {
    record_.formattedDiagnosticJsonBlob();
    return host_.compressor.calls.back().text;
  }

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

TEST_F(SQMDiagnosticsRecordTest, PropertiesAreWhatWasSet) {
  setAll();
  for (const Property& each : kProperties) EXPECT_EQ((record_.*each.get)(), std::string("value of ") + each.name);
}

TEST_F(SQMDiagnosticsRecordTest, ArraysAreSharedAndNotCopied) {
  const auto mine = std::make_shared<JsonArray>();
  record_.setDiscoveryDetails(mine);
  mine->emplace_back("later");
  EXPECT_EQ(record_.discoveryDetails(), mine);
  EXPECT_EQ(record_.formatDiscoveryDetails(), R"(["later"])");
  record_.setLoginPollDetails(mine);
  EXPECT_EQ(record_.formatLoginPollDetails(), R"(["later"])");
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

TEST_F(SQMDiagnosticsRecordTest, WritesTheReport) {
  record_.resetDiagnosticsRecord();
  record_.setSsid("CorpNet");
  record_.setSigStrength("-61");
  record_.setNic("en1");
  record_.setErrorCode("2");
  record_.setErrorDetails("Timeout");
  record_.discoveryDetails()->emplace_back("Portal found");
  EXPECT_EQ(record_.formattedDiagnosticJsonBlob(),
            R"({"Trace":{"Error":{"Code":"2","Details":"Timeout"},)"
            R"("Link":{"SSID":"CorpNet","Sig":"-61","apmac":""},"IP":{"NIC":"en1"},)"
            R"("Ravix":{"URL":"","UA":"","Resp":"","Stat":""},)"
            R"("Auth":{"P":"","Dir":"","Dis":"[\"Portal found\"]","Login":"","LoginPoll":""}}})");
}

TEST_F(SQMDiagnosticsRecordTest, WritesEveryFieldInItsPlace) {
  setAll();
  EXPECT_EQ(record_.formattedDiagnosticJsonBlob(),
            R"({"Trace":{"Error":{"Code":"value of errorCode","Details":"value of errorDetails"},)"
            R"("Link":{"SSID":"value of ssid","Sig":"value of sigStrength","apmac":"value of apmac"},)"
            R"("IP":{"NIC":"value of nic"},)"
            R"("Ravix":{"URL":"value of ravixUrl","UA":"value of ravixUagent","Resp":"value of ravixResp",)"
            R"("Stat":"value of ravixHttpStatusCode"},)"
            R"("Auth":{"P":"value of authProtocol","Dir":"value of dirID","Dis":"[\"found\"]",)"
            R"("Login":"value of loginURL","LoginPoll":"[\"polled\"]"}}})");
}

TEST_F(SQMDiagnosticsRecordTest, AFreshRecordReportsEmptyTexts) {
  EXPECT_EQ(record_.formattedDiagnosticJsonBlob(),
            R"({"Trace":{"Error":{"Code":"","Details":""},"Link":{"SSID":"","Sig":"","apmac":""},"IP":{"NIC":""},)"
            R"("Ravix":{"URL":"","UA":"","Resp":"","Stat":""},)"
            R"("Auth":{"P":"","Dir":"","Dis":"","Login":"","LoginPoll":""}}})");
}

TEST_F(SQMDiagnosticsRecordTest, SecurityAndAuthUagentNeverChangeTheReport) {
  record_.setSsid("CorpNet");
  const std::string report = record_.formattedDiagnosticJsonBlob();
  for (const Text& text : {Text("WPA2"), Text(""), Text("\xFF\""), Text()}) {
    record_.setSecurity(text);
    record_.setAuthUagent(text);
    EXPECT_EQ(record_.formattedDiagnosticJsonBlob(), report);
  }
}

TEST_F(SQMDiagnosticsRecordTest, PerCentSignsAreData) {
  record_.setSsid("50 %@ %d");
  EXPECT_NE(reported().find(R"("SSID":"50 %@ %d")"), std::string::npos);
}

TEST_F(SQMDiagnosticsRecordTest, EntriesAreStringsOrObjects) {
  record_.discoveryDetails()->emplace_back("plain");
  record_.discoveryDetails()->emplace_back(
      JsonObject{{"Step", "redirect"}, {"To", JsonObject{{"Host", "portal"}}}, {"Codes", JsonArray{"302", "200"}}});
  EXPECT_EQ(record_.formatDiscoveryDetails(),
            R"(["plain",{"Step":"redirect","To":{"Host":"portal"},"Codes":["302","200"]}])");
}

TEST_F(SQMDiagnosticsRecordTest, EmptyAndAbsentArraysAreTheEmptyText) {
  EXPECT_EQ(record_.formatDiscoveryDetails(), "");
  EXPECT_EQ(record_.formatLoginPollDetails(), "");
  record_.setDiscoveryDetails(nullptr);
  record_.setLoginPollDetails(nullptr);
  EXPECT_EQ(record_.formatDiscoveryDetails(), "");
  EXPECT_EQ(record_.formatLoginPollDetails(), "");
  EXPECT_NE(reported().find(R"("Dis":"","Login":"","LoginPoll":"")"), std::string::npos);
}

TEST_F(SQMDiagnosticsRecordTest, ArrayWithoutATextEndsTheAuthObjectBeforeIt) {
  setAll();
  record_.discoveryDetails()->emplace_back(JsonObject{{"Step", "1"}});
  host_.json.refusedArray = JsonArray{"found", JsonObject{{"Step", "1"}}};
  EXPECT_EQ(record_.formatDiscoveryDetails(), std::nullopt);
  EXPECT_NE(reported().find(R"("Auth":{"P":"value of authProtocol","Dir":"value of dirID"}}})"), std::string::npos);

  host_.json.refusedArray = JsonArray{"polled"};
  EXPECT_EQ(record_.formatLoginPollDetails(), std::nullopt);
  EXPECT_NE(reported().find(R"(\"}]","Login":"value of loginURL"}}})"), std::string::npos);
}

TEST_F(SQMDiagnosticsRecordTest, FormattingValidates) {
  record_.formattedDiagnosticJsonBlob();
  EXPECT_EQ(record_.ssid(), "");
  EXPECT_EQ(record_.security(), std::nullopt);
}

TEST_F(SQMDiagnosticsRecordTest, CompressorIsToldTheEncodingAndTheLimit) {
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
  host_.json.refusesObjects = true;
  EXPECT_EQ(record_.formattedDiagnosticJsonBlob(), "");
}

TEST_IN_FRESH_PROCESS(SQMDiagnosticsRecordCreation, SharedRecordIsOneAndApartFromOthers) {
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
  EXPECT_NE(shared->formattedDiagnosticJsonBlob().find(R"("Code":"7")"), std::string::npos);
}

}  // namespace
