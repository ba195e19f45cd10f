#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "sqm/diagnostics/SQMDiagnosticsRecord.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/text/GzipBase64.h"
#include "sqm/platform/text/JsonText.h"
#include "sqm/testing/FakeHost.h"

#include "tests/platform/files/ShellCommand.h"
#include "tests/support/TemporaryFolder.h"

// The report, decoded as its receiver does.

namespace sqm::platform {
namespace {

constexpr std::size_t kAnyLength = std::numeric_limits<std::size_t>::max();

/// The platform's compressor, which also records its last input.
class KeepingCompressor : public TextCompressor {
 public:
  std::optional<std::string> compressStringWithEncoding(std::string_view text, int encoding,
                                                        std::size_t fitting) const override {
    given = text;
    return gzip.compressStringWithEncoding(text, encoding, fitting);
  }

  GzipBase64 gzip;
  mutable std::string given;
};

class DiagnosticReport : public ::testing::Test {
 protected:
  DiagnosticReport() {
    host_.host.jsonWriter = &json_;
    host_.host.compressor = &compressor_;
  }

  /// The report, decoded by the standard tools.
  std::string decoded(const std::string& blob) {
    putContent(folder_ / "report", blob);
    return test::printedBy("base64 -d '" + folder_ / "report" + "' | gunzip");
  }

  /// A value of the report, read by Python: `place` is the Python expression of its place in "Trace".
  std::string valueAt(const std::string& blob, const std::string& place) {
    putContent(folder_ / "json", decoded(blob));
    return test::printedBy(
        "python3 -c 'import json, sys; "
        "print(ascii(json.load(open(sys.argv[1], encoding=\"utf-8\"))[\"Trace\"]" +
        place + "))' '" + folder_ / "json" + "'");
  }

  TemporaryFolder folder_;
  testing::FakeHost host_;
  JsonText json_;
  KeepingCompressor compressor_;
  SQMDiagnosticsRecord record_{host_.host};
};

TEST_F(DiagnosticReport, IsReadWithBase64AndGunzip) {
  record_.resetDiagnosticsRecord();
  record_.setSsid("CorpNet");
  record_.setSigStrength("-61");
  record_.setNic("en1");
  record_.setErrorCode("2");
  record_.setErrorDetails("Timeout");
  record_.discoveryDetails()->emplace_back("Portal found");
  EXPECT_EQ(decoded(record_.formattedDiagnosticJsonBlob()),
            R"({"Trace":{"Error":{"Code":"2","Details":"Timeout"},)"
            R"("Link":{"SSID":"CorpNet","Sig":"-61","apmac":""},"IP":{"NIC":"en1"},)"
            R"("Ravix":{"URL":"","UA":"","Resp":"","Stat":""},)"
            R"("Auth":{"P":"","Dir":"","Dis":"[\"Portal found\"]","Login":"","LoginPoll":""}}})");
}

TEST_F(DiagnosticReport, IsMadeByTheStandardHost) {
  StandardHost::Options options;
  options.homeDirectory = folder_.path();
  StandardHost host(options);
  SQMDiagnosticsRecord record(host);
  record.setErrorCode("2");
  EXPECT_EQ(valueAt(record.formattedDiagnosticJsonBlob(), "[\"Error\"][\"Code\"]"), "'2'\n");
}

TEST_F(DiagnosticReport, ArraysAreJsonTextsInTheJsonText) {
  record_.loginPollDetails()->emplace_back(JsonObject{{"Try", "1"}, {"Said", "\"wait\""}});
  record_.loginPollDetails()->emplace_back("gave up");
  EXPECT_EQ(valueAt(record_.formattedDiagnosticJsonBlob(), "[\"Auth\"][\"LoginPoll\"]"),
            R"('[{"Try":"1","Said":"\\"wait\\""},"gave up"]')"
            "\n");
}

TEST_F(DiagnosticReport, NetworkNamesOfAnyBytesAreReported) {
  std::string name;
  for (int byte = 0; byte < 256; ++byte) name.push_back(static_cast<char>(byte));
  record_.setSsid(name + "\xC3\xA9");
  record_.discoveryDetails()->emplace_back("joined " + name);
  const std::string blob = record_.formattedDiagnosticJsonBlob();
  EXPECT_NE(blob, "");
  const std::string ssid = valueAt(blob,
                                   "[\"Link\"][\"SSID\"][:3] + json.load(open(sys.argv[1], "
                                   "encoding=\"utf-8\"))[\"Trace\"][\"Link\"][\"SSID\"][126:]");
  EXPECT_EQ(ssid.substr(0, 13), R"('\x00\x01\x02)");
  EXPECT_NE(ssid.find("~\\x7f\\ufffd"), std::string::npos);
  EXPECT_TRUE(ssid.ends_with("\\ufffd\\xe9'\n"));
}

/// A text of `length` characters that can hardly be compressed.
std::string noise(std::size_t length) {
  constexpr std::string_view kCharacters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+-";
  std::minstd_rand random(11);
  std::string text;
  for (std::size_t at = 0; at < length; ++at) text.push_back(kCharacters[(random() >> 8) % kCharacters.size()]);
  return text;
}

TEST_F(DiagnosticReport, HoldsFourThousandCharactersAndIsDroppedBeyond) {
  const auto lengthWith = [&](std::size_t details) {
    record_.setErrorDetails(noise(details));
    return record_.formattedDiagnosticJsonBlob().size();
  };
  std::size_t details = 3000;
  while (lengthWith(details) != 0) ++details;
  EXPECT_EQ(lengthWith(details - 1), 4000U);
  const std::string json = json_.JSONString(JsonObject{{"Details", noise(details - 1)}}).value();
  const std::string decodedReport = decoded(record_.formattedDiagnosticJsonBlob());
  EXPECT_NE(decodedReport.find(json.substr(1, json.size() - 2)), std::string::npos) << "never cut";
}

TEST_F(DiagnosticReport, IsCompressedAsWellAsCanBeBeforeItIsDropped) {
  const char* const kSteps[] = {"portal found", "redirected to https://portal.example/login?session=",
                                "timed out",    "answered 302",
                                "answered 200", "name not resolved"};
  std::minstd_rand random(5);
  std::size_t length = 0;
  do {
    record_.discoveryDetails()->emplace_back(kSteps[random() % std::size(kSteps)] + std::to_string(random() % 1000));
    ASSERT_NE(record_.formattedDiagnosticJsonBlob(), "") << "no report fitted by its best form alone";
    length = compressor_.gzip.compressStringWithEncoding(compressor_.given, kUtf8Encoding, kAnyLength)->size();
  } while (length <= SQMDiagnosticsRecord::kMostUnits);
  EXPECT_LE(record_.formattedDiagnosticJsonBlob().size(), SQMDiagnosticsRecord::kMostUnits);
}

}  // namespace
}  // namespace sqm::platform
