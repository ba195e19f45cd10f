// `sqmctl diagnostics decode`.

#include <string>

#include <nlohmann/json.hpp>

#include "sqm/diagnostics/SQMDiagnosticsRecord.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/text/GzipBase64.h"

#include "tests/support/Bytes.h"
#include "tests/support/CaseName.h"
#include "tests/tools/Sqmctl.h"

namespace {

std::string blobOf(std::string_view text) {
  return sqm::platform::GzipBase64()
      .compressStringWithEncoding(text, sqm::kUtf8Encoding, std::string::npos)
      .value_or("");
}

Outcome decode(std::string_view blob, const Words& options = {}) {
  Words command = {kSqmctl, "diagnostics", "decode"};
  command.insert(command.end(), options.begin(), options.end());
  return runProgram(command, blob);
}

TEST(SqmctlDiagnostics, ReadsAReportOfTheLibrary) {
  const TemporaryFolder home;
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = home.path();
  sqm::platform::StandardHost host(options);
  sqm::SQMDiagnosticsRecord record(host);
  record.resetDiagnosticsRecord();
  record.setSsid("Café");
  record.discoveryDetails()->emplace_back("Portal found");
  record.setErrorCode("2");
  const std::string blob = record.formattedDiagnosticJsonBlob();

  const Outcome outcome = decode(blob + "\n");

  EXPECT_EQ(outcome.status, 0) << outcome.err;
  const Json trace = Json::parse(outcome.out).at("Trace");
  EXPECT_EQ(trace.at("Error").at("Code"), "2");
  EXPECT_EQ(trace.at("Link").at("SSID"), "Café");
  EXPECT_EQ(trace.at("Auth").at("Dis"), Json::array({"Portal found"}));
  EXPECT_EQ(trace.at("Auth").at("LoginPoll"), "");
  EXPECT_EQ(Json::parse(decode(blob, {"--raw"}).out).at("Trace").at("Auth").at("Dis"), "[\"Portal found\"]");

  putContent(home / "report", blob);
  EXPECT_EQ(decode("", {home / "report"}).out, outcome.out);
  EXPECT_EQ(decode(blob, {"-"}).out, outcome.out);
}

TEST(SqmctlDiagnostics, KeepsTheOrderAndIndents) {
  EXPECT_EQ(decode(blobOf(R"({"b":"1","a":["2"]})")).out, "{\n  \"b\": \"1\",\n  \"a\": [\n    \"2\"\n  ]\n}\n");
}

TEST(SqmctlDiagnostics, LeavesAStringThatIsNotAnArrayUnchanged) {
  const std::string report = R"({"Trace":{"Auth":{"Dis":"[\"cut","LoginPoll":"plain"}}})";
  EXPECT_EQ(Json::parse(decode(blobOf(report)).out), Json::parse(report));
}

struct NoBlob {
  std::string name;
  std::string blob;
  std::string error;
};

class SqmctlDiagnosticsNoBlob : public ::testing::TestWithParam<NoBlob> {};

TEST_P(SqmctlDiagnosticsNoBlob, NamesTheInvalidLayer) {
  const Outcome outcome = decode(GetParam().blob);
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "sqmctl: " + GetParam().error + "\n");
}

const std::string kGood = blobOf(R"({"a":"b"})");

INSTANTIATE_TEST_SUITE_P(
    Of, SqmctlDiagnosticsNoBlob,
    ::testing::Values(
        NoBlob{"Nothing", " \n", "layer 1 (Base64) is invalid: it is empty; a report that was too long is empty"},
        NoBlob{"AnotherAlphabet", " H4sI-AAA", "layer 1 (Base64) is invalid: invalid character '-' at byte 5"},
        NoBlob{"ControlCharacter", "H4\033", "layer 1 (Base64) is invalid: invalid character '\\u001B' at byte 2"},
        NoBlob{"HalfAGroup", "H4sIA", "layer 1 (Base64) is invalid: unexpected end at byte 5"},
        NoBlob{"NoGzip", "aGVsbG8=", "layer 2 (gzip) is invalid: incorrect header check at byte 2"},
        NoBlob{"HalfTheGzip", "H4sIAAAA", "layer 2 (gzip) is invalid: unexpected end at byte 6"},
        NoBlob{"NoJson", blobOf("{\"a\":}"), "layer 3 (JSON) is invalid: unexpected text at byte 5"},
        NoBlob{"DeepJson", blobOf(std::string(100'000, '[') + std::string(100'000, ']')),
               "layer 3 (JSON) is invalid: more than 100 levels"}),
    CaseName());

TEST(SqmctlDiagnostics, FindsADamagedByte) {
  std::string blob = kGood;
  blob[20] = blob[20] == 'A' ? 'B' : 'A';
  const Outcome outcome = decode(blob);
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err.find("sqmctl: layer 2 (gzip) is invalid: "), 0U) << outcome.err;
}

TEST(SqmctlDiagnostics, DecompressesNoMoreThanTheLimit) {
  const std::string bomb = blobOf(repeated(" ", 20'000'000));
  Outcome outcome = decode(bomb);
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err,
            "sqmctl: layer 2 (gzip) is invalid: it decompresses to more than 16777216 bytes; see --limit\n");
  outcome = decode(kGood, {"--limit", "9"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(decode(kGood, {"--limit", "8"}).status, 2);
  EXPECT_EQ(decode(std::string(10'000, 'A'), {"--limit", "8"}).err,
            "sqmctl: standard input holds more than 4112 bytes\n");
}

TEST(SqmctlDiagnostics, EscapesControlCharactersOnATerminal) {
  const TemporaryFolder folder;
  putContent(folder / "report", blobOf("{\"a\":\"\u009B31m\"}"));
  EXPECT_EQ(runOnTerminal({kSqmctl, "diagnostics", "decode", folder / "report"}).out,
            "{\n  \"a\": \"\\u009B31m\"\n}\n");
}

}  // namespace
