// sqmctl play: the file-based path, the clock, and the diagnostics record.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Paths.h"
#include "tests/tools/Play.h"

namespace {

namespace fs = std::filesystem;

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  return names;
}

/// The only file of a folder.
std::string onlyFile(const std::string& folder) {
  const auto names = namesIn(folder);
  return names.size() == 1 ? contentOf(folder + "/" + names[0]) : "files: " + std::to_string(names.size());
}

/// The 86 values of a row, none of which contains the separator.
std::vector<std::string> valuesOf(const std::string& row) {
  std::vector<std::string> values;
  std::size_t begin = 1;
  for (std::size_t end = 0; (end = row.find("\",\"", begin)) != std::string::npos; begin = end + 3) {
    values.push_back(row.substr(begin, end - begin));
  }
  values.push_back(row.substr(begin, row.size() - begin - 2));
  return values;
}

/// The JSON text of a report.
std::string textOf(const std::string& result) {
  const TemporaryFolder folder;
  putContent(folder / "report", result.substr(1, result.size() - 2));
  return runProgram({"/bin/sh", "-c", "base64 -d '" + (folder / "report") + "' | gunzip"}).out;
}

TEST(SqmctlPlayRecord, EveryCallStoresItsArgumentsAtTheirPositions) {
  const Played played(R"({"do":"collector.directory","path":"a"}
{"do":"collector.creation","first":"c1","lang":"c2","username":"c3","fullUserName":"c4","profileID":"c5","installId":"c6","sqmCounter":"c7"}
{"do":"collector.preConnect","first":"p1","forSSID":"p2","accessProcedure":"p3","popType":"home","wiFiSecurity":"p5","phoneVer":"p6","pbUpdateDate":"p7"}
{"do":"collector.postConnect","first":"q1","devicetype":"q2","clientMacAddress":"q3","apMacAddress":"q4","signalstrength":"q5","clientIP":"q6","serverIP":"q7"}
{"do":"collector.errorCode","value":-9223372036854775808}
{"do":"collector.autoConnect","value":9223372036854775807}
{"do":"collector.disconnect","first":4294967295,"finalSigStrength":-67,"rxBytes":10,"txBytes":20,"phoneVer":"d1","pbUpdateDate":"d2"}
{"do":"collector.save"}
)",
                      {"--os-version", "10.8.2"});
  EXPECT_EQ(played.status(), 0) << played.err();
  for (std::size_t line = 1; line <= 8; ++line) EXPECT_EQ(played.result(line), "null");
  std::vector<std::string> expected(86);
  const struct {
    std::size_t position;
    const char* value;
  } filled[] = {{0, "c3"},
                {1, "10.8.2"},
                {2, "Barrim.exe 4.70"},
                {4, "q1"},
                {5, "q2"},
                {7, "p2"},
                {15, "q7"},
                {16, "q6"},
                {18, "-9223372036854775808"},
                {19, "c1"},
                {20, "c5"},
                {21, "c4"},
                {24, "2"},
                {28, "p3"},
                {30, "c2"},
                {31, "c7"},
                {33, "4294967295"},
                {34, "p1"},
                {37, "q3"},
                {38, "q4"},
                {40, "p2"},
                {41, "c6"},
                {43, "0"},
                {58, "q5"},
                {66, "-67"},
                {70, "20"},
                {71, "10"},
                {75, "d1"},
                {76, "d2"},
                {77, "1"},
                {79, "p5"},
                {85, "9223372036854775807"}};
  for (const auto& [position, value] : filled) expected[position] = value;
  EXPECT_EQ(valuesOf(onlyFile(played.home() + "/a")), expected);
}

TEST(SqmctlPlayRecord, OnlyAdvanceMovesTheClock) {
  const Played played(R"({"do":"collector.directory","path":"a"}
{"do":"collector.connectStart"}
{"do":"advance","seconds":5.9}
{"do":"collector.loginStart"}
{"do":"advance","seconds":2.7}
{"do":"collector.loginEnd"}
{"do":"collector.save"}
{"do":"advance","seconds":-8}
{"do":"collector.save"}
)",
                      {"--time", "2026-11-21T10:00:00.5+01:00", "--zone", "Asia/Kolkata"});
  EXPECT_EQ(played.status(), 0) << played.err();
  auto names = namesIn(played.home() + "/a");
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"0Q20261121143001.sqm", "0Q20261121143009.sqm"}));
  const auto values = valuesOf(played.file("a/0Q20261121143009.sqm"));
  EXPECT_EQ(values.at(12), "2026-11-21 9:00:0.3");
  EXPECT_EQ(values.at(13), "2026-11-21 9:00:6.3");
  EXPECT_EQ(values.at(14), "6") << "whole seconds of two readings";
  EXPECT_EQ(values.at(32), "2") << "a true interval, cut";
}

TEST(SqmctlPlayRecord, TheTimeIsIso8601) {
  const struct {
    const char* time;
    const char* zone;
    const char* start;
  } cases[] = {
      {"2026-11-21T10:00:00Z", "UTC", "2026-11-21 10:00:0.3"},
      {"2026-11-21T10:00:00Z", "America/New_York", "2026-11-21 10:00:0.3"},
      {"2026-11-21T10:00:00-05:30", "UTC", "2026-11-21 15:30:0.3"},
      {"2026-11-21T10:00:00,75+0100", "UTC", "2026-11-21 9:00:0.3"},
      {"2026-11-21T10:00+14", "UTC", "2026-11-20 20:00:0.3"},
      {"20261121T100001Z", "UTC", "2026-11-21 10:00:1.3"},
      {"20261121T1000Z", "UTC", "2026-11-21 10:00:0.3"},
      {"2026-11-21", "UTC", "2026-11-21 0:00:0.3"},
      // Without an offset it is local time in the zone.
      {"2026-11-21T10:00:00", "Europe/Berlin", "2026-11-21 9:00:0.3"},
      {"2026-07-21T10:00:00", "Europe/Berlin", "2026-07-21 8:00:0.3"},
      {"2026-11-21", "America/New_York", "2026-11-21 5:00:0.3"},
      {"2024-02-29T00:00:00Z", "UTC", "2024-02-29 0:00:0.5"},
  };
  for (const auto& [time, zone, start] : cases) {
    const Played played(R"({"do":"collector.directory","path":"a"}
{"do":"collector.connectStart"}
{"do":"collector.save"}
)",
                        {"--time", time, "--zone", zone});
    EXPECT_EQ(valuesOf(onlyFile(played.home() + "/a")).at(12), start) << time << " " << zone << played.err();
  }
}

TEST(SqmctlPlayRecord, AnInvalidTimeIsRejected) {
  for (const char* time : {"2026",
                           "2026-11",
                           "2026-1-1",
                           "2026-11-31",
                           "2026-13-01",
                           "0000-01-01",
                           "2026-11-21 10:00",
                           "2026-11-21T",
                           "2026-11-21T24:00",
                           "2026-11-21T10",
                           "2026-11-21T10:60",
                           "2026-11-21T10:00:60",
                           "2026-11-21T10:00:00.",
                           "2026-11-21T10:00:00+",
                           "2026-11-21T10:00:00+1",
                           "2026-11-21T10:00:00+24:00",
                           "2026-11-21T10:00:00+01:",
                           "2026-11-21T10:00:00ZZ",
                           "2026-1121",
                           "202611-21",
                           "2026-11-21T10:0000",
                           "2026-11-21T10:00:00z",
                           "+2026-11-21",
                           "20261121T10000"}) {
    const Played played("{\"do\":\"save\"}\n", {"--time", time});
    EXPECT_EQ(played.status(), 2) << time;
  }
}

TEST(SqmctlPlayRecord, ALocalTimeThatOccursTwiceMeansTheEarlierMoment) {
  const char* scenario = R"({"do":"collector.directory","path":"a"}
{"do":"collector.creation","first":"","lang":"","username":"","fullUserName":"","profileID":"","installId":"","sqmCounter":""}
{"do":"collector.loginStart"}
{"do":"collector.save"}
)";
  // Position 14 is the seconds since 1970 when the start of the connection was not set.
  const struct {
    const char* time;
    const char* seconds;
  } cases[] = {{"2026-10-25T02:30:00", "1792888200"},   // twice: at 00:30 and 01:30 GMT
               {"2026-03-29T02:30:00", "1774747800"}};  // never: as if summer time had not begun, 01:30 GMT
  for (const auto& [time, seconds] : cases) {
    const Played played(scenario, {"--time", time, "--zone", "Europe/Berlin"});
    EXPECT_EQ(valuesOf(onlyFile(played.home() + "/a")).at(14), seconds) << time;
  }
}

TEST(SqmctlPlayRecord, TheClockStopsAtTheLimitsOfItsRange) {
  const Played played(R"({"do":"collector.directory","path":"a"}
{"do":"advance","seconds":1e300}
{"do":"advance","seconds":1e300}
{"do":"collector.connectStart"}
{"do":"collector.save"}
{"do":"advance","seconds":-1e300}
{"do":"collector.connectStart"}
{"do":"collector.save"}
)",
                      {"--time", "2026-11-21", "--zone", "UTC"});
  EXPECT_EQ(played.status(), 0) << played.err();
  auto names = namesIn(played.home() + "/a");
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"0Q00010101000000.sqm", "0Q99991231235959.sqm"}));
}

TEST(SqmctlPlayRecord, OptionsAreAcceptedBeforeTheSubcommand) {
  const TemporaryFolder folder;
  const Outcome outcome = runProgram({kSqmctl, "--home", folder / "home", "--time", "2026-11-21T10:00:00Z", "--zone",
                                      "UTC", "--locale", "en_GB", "--os", "a", "--os-version", "b", "play", "-"},
                                     R"({"do":"collector.directory","path":"a"}
{"do":"collector.save"}
)");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(namesIn(folder / "home/a"), std::vector<std::string>{"0Q20261121100000.sqm"});
  const Outcome after =
      runProgram({kSqmctl, "play", "-", "--home", folder / "other", "--resources", paths::sources() + "/examples"},
                 "{\"do\":\"save\"}\n");
  EXPECT_EQ(after.status, 0) << after.err;
  EXPECT_EQ(folder.names(), (std::vector<std::string>{"home", "other"}));
}

TEST(SqmctlPlayRecord, TheZonesAreTheMachinesOwn) {
  // Almaty changed its offset in 2024, after the release of ICU. `date` uses the machine's database.
  for (const std::string zone : {"Asia/Almaty", "Europe/Berlin", "America/New_York"}) {
    const Played played(R"({"do":"collector.directory","path":"a"}
{"do":"collector.save"}
)",
                        {"--time", "2025-04-21T11:33:45Z", "--zone", zone});
    const Outcome date =
        runProgram({"/usr/bin/env", "TZ=" + zone, "/bin/date", "--date=2025-04-21T11:33:45Z", "+%Y%m%d%H%M%S"});
    EXPECT_EQ(played.status(), 0) << played.err();
    const std::string time = date.out.substr(0, date.out.find('\n'));
    EXPECT_EQ(namesIn(played.home() + "/a"), std::vector<std::string>{"0Q" + time + ".sqm"}) << zone;
  }
}

TEST(SqmctlPlayRecord, AZoneAloneIsThatOfTheRunningClock) {
  const Played played(R"({"do":"collector.directory","path":"a"}
{"do":"collector.save"}
)",
                      {"--zone", "Pacific/Kiritimati"});
  EXPECT_EQ(played.status(), 0) << played.err();
  const auto names = namesIn(played.home() + "/a");
  ASSERT_EQ(names.size(), 1U);
  // 14 hours ahead of GMT, at any time of the year.
  using namespace std::chrono;
  const auto now = floor<days>(system_clock::now() + hours(14));
  const auto before = floor<days>(system_clock::now() + hours(14) - minutes(1));
  const auto dayOf = [](sys_days day) {
    const year_month_day date(day);
    char text[16];
    std::snprintf(text, sizeof text, "0Q%04d%02u%02u", static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return std::string(text);
  };
  EXPECT_TRUE(names[0].rfind(dayOf(now), 0) == 0 || names[0].rfind(dayOf(before), 0) == 0) << names[0];
}

TEST(SqmctlPlayRecord, PathsAreAbsoluteOrRelativeToTheHomeDirectory) {
  const TemporaryFolder elsewhere;
  const Played played(R"({"do":"collector.directory","path":")" + (elsewhere / "x/y") +
                      "\"}\n{\"do\":\"collector.save\"}\n{\"do\":\"collector.directory\",\"path\":\"../beside\"}\n"
                      "{\"do\":\"collector.directory\",\"path\":\"Ünï/cödé\"}\n{\"do\":\"collector.save\"}\n");
  EXPECT_EQ(played.status(), 0) << played.err();
  EXPECT_EQ(namesIn(elsewhere / "x/y").size(), 1U);
  EXPECT_TRUE(fs::is_directory(played.home() + "/../beside"));
  EXPECT_EQ(namesIn(played.home() + "/Ünï/cödé").size(), 1U);
}

TEST(SqmctlPlayRecord, SavingWithoutAFolderIsHarmless) {
  const Played played("{\"do\":\"collector.save\"}\n{\"do\":\"save\"}\n");
  EXPECT_EQ(played.status(), 0) << played.err();
  EXPECT_EQ(played.result(1), "null");
}

TEST(SqmctlPlayDiagnostics, TheReportHoldsWhatWasSet) {
  const Played played(R"({"do":"diagnostics.blob"}
{"do":"diagnostics.set","ssid":"a","sigStrength":"b","security":"c","apmac":"d","nic":"e","ravixUrl":"f","ravixUagent":"g","ravixResp":"h","ravixHttpStatusCode":"i","authProtocol":"j","dirID":"k","authUagent":"l","loginURL":"m","errorCode":"n","errorDetails":"o","discoveryDetails":["p",{"q":"r"}],"loginPollDetails":[]}
{"do":"diagnostics.blob"}
{"do":"diagnostics.set","ssid":null,"discoveryDetails":null}
{"do":"diagnostics.appendDiscovery","entry":"nowhere to go"}
{"do":"diagnostics.appendLoginPoll","entry":{"n":[1,-2.50,true,null,{"z":"y","a":[]}]}}
{"do":"diagnostics.appendLoginPoll","entry":"é\u0000"}
{"do":"diagnostics.blob"}
{"do":"diagnostics.resetProbe"}
{"do":"diagnostics.blob"}
{"do":"diagnostics.reset"}
{"do":"diagnostics.blob"}
{"do":"diagnostics.set"}
)");
  EXPECT_EQ(played.status(), 0) << played.err();
  const auto report = [&](std::size_t line) { return textOf(played.result(line)); };
  const std::string empty = R"("Link":{"SSID":"","Sig":"","apmac":""},"IP":{"NIC":""},)";
  EXPECT_EQ(
      report(1),
      R"({"Trace":{"Error":{"Code":"","Details":""},)" + empty +
          R"("Ravix":{"URL":"","UA":"","Resp":"","Stat":""},"Auth":{"P":"","Dir":"","Dis":"","Login":"","LoginPoll":""}}})");
  EXPECT_EQ(
      report(3),
      R"({"Trace":{"Error":{"Code":"n","Details":"o"},"Link":{"SSID":"a","Sig":"b","apmac":"d"},"IP":{"NIC":"e"},)"
      R"("Ravix":{"URL":"f","UA":"g","Resp":"h","Stat":"i"},)"
      R"("Auth":{"P":"j","Dir":"k","Dis":"[\"p\",{\"q\":\"r\"}]","Login":"m","LoginPoll":""}}})");
  EXPECT_NE(report(8).find(R"("SSID":"")"), std::string::npos);
  EXPECT_NE(report(8).find(R"("Dis":"")"), std::string::npos);
  EXPECT_NE(report(8).find(R"("LoginPoll":"[{\"n\":[1,-2.50,true,null,{\"z\":\"y\",\"a\":[]}]},\"é\\u0000\"]")"),
            std::string::npos)
      << report(8);
  EXPECT_NE(report(10).find(R"("Ravix":{"URL":"","UA":"g","Resp":"","Stat":""})"), std::string::npos) << report(10);
  EXPECT_NE(report(10).find(R"("Code":"n")"), std::string::npos) << report(10);
  EXPECT_EQ(
      report(12),
      R"({"Trace":{"Error":{"Code":"","Details":""},)" + empty +
          R"("Ravix":{"URL":"","UA":"g","Resp":"","Stat":""},"Auth":{"P":"","Dir":"","Dis":"","Login":"","LoginPoll":""}}})");
  EXPECT_EQ(played.result(13), "null");
}

TEST(SqmctlPlayDiagnostics, AReportThatIsTooLongIsTheEmptyText) {
  std::string noise;
  for (unsigned value = 1; noise.size() < 20'000; value = value * 1'103'515'245U + 12'345U)
    noise += std::to_string(value);
  const Played played(R"({"do":"diagnostics.set","ssid":")" + noise + "\"}\n{\"do\":\"diagnostics.blob\"}\n");
  EXPECT_EQ(played.result(2), "\"\"");
}

}  // namespace
