// sqmctl play: the operations of the main path.

#include <string>

#include <gtest/gtest.h>

#include "tests/tools/Play.h"

namespace {

std::string list(const Played& played, const std::string& name) { return played.inApplication("SQM/" + name); }

std::size_t timesIn(const std::string& text, const std::string& part) {
  std::size_t times = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++times;
  return times;
}

/// A record as text of a list file, where it is XML inside XML.
std::string inList(std::string xml) {
  for (std::size_t at = 0; (at = xml.find_first_of("<>", at)) != std::string::npos; ++at) {
    xml.replace(at, 1, xml[at] == '<' ? "&lt;" : "&gt;");
  }
  return xml;
}

TEST(SqmctlPlayManager, WritesTheResultsOfTheCalls) {
  const struct {
    const char* call;
    const char* result;
  } cases[] = {
      {R"("setURLs")", "null"},
      {R"("setURLs","client":"http://127.0.0.1/","connection":null,"device":"a","application":"b","userAcceptance":"")",
       "null"},
      {R"("setDeviceType","value":-9223372036854775808)", "null"},
      {R"("setDeviceType","value":1)", "null"},
      {R"("connectionStop","params":{"6":"a"})", "false"},
      {R"("connectionStart","params":{"6":"a"})", "false"},
      {R"("connectionStart","params":null)", "false"},
      {R"("connectionStop","params":{})", "false"},
      {R"("connectionStop","params":null)", "false"},
      {R"("applicationStop","params":null)", "false"},
      {R"("applicationStop","params":{})", "true"},
      {R"("applicationStart","params":null)", "true"},
      {R"("applicationStart","params":{"6":"a","76":"b"})", "true"},
      {R"("applicationStop","params":{"6":"a"})", "true"},
      {R"("device","params":{})", "true"},
      {R"("client","params":{"6":"a"})", "true"},
      {R"("userAcceptance","params":{"88":1})", "true"},
      {R"("save")", "null"},
      {R"("restart")", "null"},
      {R"("applicationStart","params":{"6":"a"})", "true"},
      {R"("timeStamp","value":"\"2026\"")", "null"},
      {R"("timeStamp","value":null)", "null"},
      {R"("filter")", "null"},
      {R"("filter","disable":[],"replace":[])", "null"},
      {R"("filter","disable":[{"name":"application"}])", "null"},
      {R"("applicationStop","params":{"6":"a"})", "false"},
  };
  std::string scenario;
  std::string expected;
  std::size_t line = 0;
  for (const auto& [call, result] : cases) {
    scenario.append("{\"do\":").append(call).append("}\n");
    const std::string name = std::string(call).substr(0, std::string(call).find('"', 1) + 1);
    expected += "{\"line\":" + std::to_string(++line) + ",\"do\":" + name + ",\"result\":" + result + "}\n";
  }
  const Played played(scenario);
  EXPECT_EQ(played.status(), 0);
  EXPECT_EQ(played.out(), expected);
  EXPECT_EQ(played.err(), "");
}

TEST(SqmctlPlayManager, ParamsAreStringsIntegersAndAbsentStrings) {
  const Played played(R"({"do":"setDeviceType","value":1}
{"do":"connectionStart","params":{"6":"a & b","23":-9223372036854775808,"26":"é\u0041\n","25":9223372036854775807,"13":"x","029":"zero"}}
)");
  const std::string saved = list(played, "SQMConnection.plist");
  for (const char* element : {"<eventTime timestamp=\"0000000000\">a &amp;amp; b</eventTime>",
                              "<signalStrength>-9223372036854775808</signalStrength>", "<ssid>éA\n</ssid>",
                              "<securityMode>9223372036854775807</securityMode>", "<userName>x</userName>",
                              "<encryption>zero</encryption>"}) {
    EXPECT_NE(saved.find(inList(element)), std::string::npos) << element << "\n" << saved;
  }
}

TEST(SqmctlPlayManager, TheOrderOfParamsIsKept) {
  // One key written in two ways: the later value is stored.
  const Played played(R"({"do":"setDeviceType","value":1}
{"do":"connectionStart","params":{"6":"a","26":"first","026":"second"}}
{"do":"connectionStart","params":{"6":"a","026":"third","26":null}}
)");
  const std::string saved = list(played, "SQMConnection.plist");
  EXPECT_EQ(timesIn(saved, "first"), 0U);
  EXPECT_EQ(timesIn(saved, "second"), 1U);
  EXPECT_EQ(timesIn(saved, "third"), 0U);
}

TEST(SqmctlPlayManager, TheContainerRejectsKeysOutsideItsRange) {
  const Played played(
      R"({"do":"client","params":{"6":"a","0":"zero","91":"most","92":"above","-7":"below","-9223372036854775808":1,"9223372036854775807":null}}
)");
  EXPECT_EQ(played.result(1), "true");
  const std::string saved = list(played, "SQMClient.plist");
  EXPECT_EQ(timesIn(saved, "<string>"), 1U);
  for (const char* text : {"zero", "most", "above", "below"}) EXPECT_EQ(timesIn(saved, text), 0U) << text;
}

TEST(SqmctlPlayManager, TheContainerIsNewForEveryOperation) {
  const Played played(R"({"do":"device","params":{"6":"a","72":"once"}}
{"do":"device","params":{"6":"b"}}
)");
  const std::string saved = list(played, "SQMDevice.plist");
  EXPECT_EQ(timesIn(saved, "<string>"), 2U);
  EXPECT_EQ(timesIn(saved, "once"), 1U);
}

TEST(SqmctlPlayManager, AnAbsentContainerDiffersFromAnEmptyOne) {
  const Played played(R"({"do":"setDeviceType","value":1}
{"do":"connectionStart","params":null}
{"do":"save"}
)");
  EXPECT_EQ(timesIn(list(played, "SQMConnection.plist"), "<string>"), 0U);
  const Played empty(R"({"do":"setDeviceType","value":1}
{"do":"connectionStart","params":{}}
{"do":"save"}
)");
  EXPECT_EQ(timesIn(list(empty, "SQMConnection.plist"), "<string>") +
                timesIn(list(empty, "SQMConnection.plist"), "<string/>"),
            1U);
}

TEST(SqmctlPlayManager, RestartWritesTheStoreAndReadsItAgain) {
  const Played played(R"({"do":"setDeviceType","value":1}
{"do":"connectionStart","params":{"6":"a"}}
{"do":"restart"}
{"do":"connectionStart","params":{"6":"b"}}
{"do":"setDeviceType","value":3}
{"do":"connectionStart","params":{"6":"c"}}
)");
  // The new manager has no medium, and the record kept for the stop was the old manager's.
  const std::string saved = list(played, "SQMConnection.plist");
  EXPECT_EQ(timesIn(saved, "<string>"), 2U) << saved;
  EXPECT_EQ(timesIn(saved, inList("<eventTime timestamp=\"0000000000\">b</eventTime>")), 0U);
}

TEST(SqmctlPlayManager, TheEndSavesAndTheNextRunGoesOn) {
  Played played("{\"do\":\"device\",\"params\":{\"6\":\"a\"}}\n");
  EXPECT_EQ(timesIn(list(played, "SQMDevice.plist"), "<string>"), 1U);
  played.play("{\"do\":\"device\",\"params\":{\"6\":\"b\"}}\n");
  EXPECT_EQ(timesIn(list(played, "SQMDevice.plist"), "<string>"), 2U);
}

TEST(SqmctlPlayManager, TheTimeStampIsStoredInThePreferences) {
  Played played(R"({"do":"timeStamp","value":"\"2026-11-21\""}
{"do":"device","params":{"6":"a"}}
{"do":"timeStamp","value":null}
{"do":"device","params":{"6":"b"}}
{"do":"timeStamp","value":"'last'"}
)");
  std::string saved = list(played, "SQMDevice.plist");
  EXPECT_NE(saved.find(inList("timestamp=\"2026-11-21\">a<")), std::string::npos) << saved;
  EXPECT_NE(saved.find(inList("timestamp=\"0000000000\">b<")), std::string::npos) << saved;
  played.play("{\"do\":\"device\",\"params\":{\"6\":\"c\"}}\n");
  saved = list(played, "SQMDevice.plist");
  EXPECT_NE(saved.find(inList("timestamp='last'>c<")), std::string::npos) << saved;
}

TEST(SqmctlPlayManager, FilterRulesMatchByNameAndSubType) {
  const struct {
    const char* rule;
    bool isRecorded;
  } cases[] = {
      {R"({"name":"device"})", false},
      {R"({"name":"device","subType":null})", false},
      {R"({"name":"device","subType":"mobiledevice"})", false},
      {R"({"name":"device","subType":""})", true},
      {R"({"name":"Device"})", true},
      {R"({"name":"client"})", true},
      {R"({"name":null})", true},
      {R"({"name":""})", true},
  };
  for (const auto& [rule, isRecorded] : cases) {
    const Played played(std::string(R"({"do":"filter","disable":[{"name":"x"},)") + rule +
                        "]}\n{\"do\":\"device\",\"params\":{\"6\":\"a\"}}\n");
    EXPECT_EQ(played.result(2), "true");
    EXPECT_EQ(timesIn(list(played, "SQMDevice.plist"), "<string>"), isRecorded ? 1U : 0U) << rule;
  }
}

TEST(SqmctlPlayManager, AnAbsentNameMatchesWhereThereIsNoRecord) {
  // A stop without a start has no record, which has neither name nor sub-type.
  const struct {
    const char* rule;
    bool isRecorded;
  } cases[] = {
      {R"({"name":null})", false},
      {R"({"name":null,"subType":""})", false},
      {R"({"name":null,"subType":"vpn"})", true},
      {R"({"name":"application"})", true},
  };
  for (const auto& [rule, isRecorded] : cases) {
    const Played played(std::string(R"({"do":"filter","disable":[)") + rule +
                        "]}\n{\"do\":\"applicationStop\",\"params\":{\"6\":\"a\"}}\n");
    EXPECT_EQ(played.result(2), isRecorded ? "true" : "false") << rule;
  }
}

TEST(SqmctlPlayManager, ReplaceRulesApplyToACopyInTheirOrder) {
  const Played played(R"({"do":"setDeviceType","value":1}
{"do":"filter","replace":[{"name":"connection","values":{"userName":"first","ssid":"first"}},{"name":"device","values":{"ssid":"never"}},{"name":"connection","subType":null,"values":{"ssid":"second"}}]}
{"do":"connectionStart","params":{"6":"a","13":"own","26":"own"}}
{"do":"filter"}
{"do":"connectionStop","params":{"6":"b","13":"own"}}
)");
  const std::string saved = list(played, "SQMConnection.plist");
  EXPECT_EQ(timesIn(saved, inList("<userName>first</userName>")), 1U) << saved;
  EXPECT_EQ(timesIn(saved, inList("<ssid>second</ssid>")), 1U) << saved;
  EXPECT_EQ(timesIn(saved, inList("<ssid>own</ssid>")), 1U) << "the record keeps its own values: " << saved;
  EXPECT_EQ(timesIn(saved, "never"), 0U);
}

TEST(SqmctlPlayManager, AUserAcceptanceIsWrittenWhenAFilterCompletesIt) {
  const Played played(R"({"do":"userAcceptance","params":{"6":"a"}}
{"do":"filter","replace":[{"name":"useracceptance","subType":"","values":{"6":"complete"}}]}
{"do":"userAcceptance","params":{"6":"b"}}
)");
  const std::string saved = list(played, "SQMUserAcceptance.plist");
  EXPECT_EQ(timesIn(saved, "&gt;b&lt;/eventTime"), 1U) << saved;
  EXPECT_EQ(timesIn(saved, "&gt;a&lt;/eventTime"), 0U) << saved;
}

TEST(SqmctlPlayManager, EnvironmentIsReportedAsFixed) {
  const Played played("{\"do\":\"client\",\"params\":{\"6\":\"a\"}}\n",
                      {"--locale", "fr_FR", "--os", "Test OS", "--os-version", "1.2 beta"});
  const std::string saved = list(played, "SQMClient.plist");
  for (const char* element :
       {"<locale>French (France)</locale>", "<os>Test OS</os>", "<osVersion>1.2 beta</osVersion>"})
    EXPECT_NE(saved.find(inList(element)), std::string::npos) << element << "\n" << saved;
}

TEST(SqmctlPlayManager, TheNameOfTheSystemMayBeEmpty) {
  const Played played("{\"do\":\"client\",\"params\":{\"6\":\"a\"}}\n", {"--os", "", "--os-version", ""});
  EXPECT_EQ(played.status(), 0) << played.err();
  const std::string saved = list(played, "SQMClient.plist");
  EXPECT_NE(saved.find(inList("<os></os><osVersion></osVersion>")), std::string::npos) << saved;
}

}  // namespace
