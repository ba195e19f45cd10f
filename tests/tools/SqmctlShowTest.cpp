// The stored records (`sqmctl show`) and the documents that they make (`sqmctl documents`).

#include <string>

#include <nlohmann/json.hpp>

#include "tests/tools/Sqmctl.h"

namespace {

const std::string kRecord = R"(<a><b t="1">x &amp; y</b><c></c><d><e>Café</e></d></a>)";

class SqmctlShow : public ::testing::Test {
 protected:
  SqmctlShow() { home.putList("SQMDevice.plist", {kRecord, "", "no <XML"}); }

  Home home;
};

TEST_F(SqmctlShow, IndentsTheRecords) {
  const Outcome outcome = home.run({"show", "device"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out,
            "device 1 of 3, 55 bytes\n"
            "  <a>\n"
            "    <b t=\"1\">x &amp; y</b>\n"
            "    <c/>\n"
            "    <d>\n"
            "      <e>Café</e>\n"
            "    </d>\n"
            "  </a>\n"
            "device 2 of 3, 0 bytes\n"
            "device 3 of 3, 7 bytes\n"
            "  no <XML\n");
  EXPECT_EQ(outcome.err, "");
}

TEST_F(SqmctlShow, GivesTheRecordsAsTheyAre) {
  EXPECT_EQ(home.run({"show", "device", "--raw"}).out, kRecord + "\n\nno <XML\n");
}

TEST_F(SqmctlShow, TellsProgramsTheValues) {
  const Json all = Json::parse(home.run({"show", "--json"}).out);
  ASSERT_EQ(all.size(), 3U);
  EXPECT_EQ(all[0], Json({{"type", "device"},
                          {"number", 1},
                          {"bytes", kRecord.size()},
                          {"values", Json::array({{"b", "x & y"}, {"c", ""}, {"e", "Café"}})},
                          {"raw", kRecord}}));
  EXPECT_EQ(all[1].at("values"), Json::array());
  EXPECT_EQ(all[2].at("raw"), "no <XML");
}

TEST_F(SqmctlShow, ShowsNothingOfATypeWithoutRecords) {
  EXPECT_EQ(home.run({"show", "client"}).out, "");
  EXPECT_EQ(home.run({"show", "client", "--json"}).out, "[]\n");
}

TEST_F(SqmctlShow, TakesOneFormAtATime) {
  const Outcome outcome = home.run({"show", "--raw", "--json"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.err.find("excludes"), std::string::npos) << outcome.err;
}

TEST_F(SqmctlShow, ColoursOnATerminal) {
  const Outcome outcome = home.runAtTerminal({"show", "device"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.out.find("\033[1mdevice 1 of 3, 55 bytes\033[0m\n  \033[36m<a>\033[0m\n"), std::string::npos)
      << outcome.out;
}

TEST_F(SqmctlShow, HonoursNoColor) {
  Words command = home.command({"show", "device"});
  command.insert(command.begin(), {"/usr/bin/env", "NO_COLOR=1"});
  EXPECT_EQ(runOnTerminal(command).out, home.run({"show", "device"}).out);
  command[1] = "NO_COLOR=";
  EXPECT_NE(runOnTerminal(command).out.find("\033["), std::string::npos) << "an empty NO_COLOR counts as none";
}

TEST_F(SqmctlShow, LetsNoValueSteerATerminal) {
  const std::string value = "a\u009B31mb\u202Ec\td";  // C1's own introducer of a sequence; a turn of the direction
  home.putList("SQMDevice.plist", {"<n>" + value + "</n>"});
  for (const Words& words : {Words{"show"}, Words{"show", "--raw"}, Words{"show", "--json"}, Words{"documents"}}) {
    const Outcome atTerminal = home.runAtTerminal(words);
    EXPECT_NE(atTerminal.out.find("a\\u009B31mb\\u202Ec\\td"), std::string::npos) << atTerminal.out;
    EXPECT_EQ(atTerminal.out.find("\u009B"), std::string::npos);
    // NOLINTNEXTLINE(misc-misleading-bidirectional): it is what must not be there
    EXPECT_EQ(atTerminal.out.find("\u202E"), std::string::npos);
  }
  EXPECT_NE(home.run({"show"}).out.find(value), std::string::npos) << "in a pipe, as it is";
}

TEST_F(SqmctlShow, ShowsATextThatNestsWithoutEndAsItIs) {
  std::string deep;
  for (int level = 0; level < 100'000; ++level) deep += "<a>";
  for (int level = 0; level < 100'000; ++level) deep += "</a>";
  home.putList("SQMDevice.plist", {deep});
  const Outcome outcome = home.run({"show"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "device 1 of 1, 700000 bytes\n  " + deep + "\n");
  EXPECT_EQ(home.run({"show", "--json"}).status, 0);
}

TEST_F(SqmctlShow, LeavesNothingOut) {
  const std::string cases[] = {"<a>text<b/></a>", "<a><!-- remark --></a>", "<a/>text", "<a><![CDATA[x]]></a>"};
  for (const std::string& record : cases) {
    std::string escaped;
    for (const char c : record) escaped += c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
    putContent(home.list("SQMDevice.plist"), "<plist><array><string>" + escaped + "</string></array></plist>");
    EXPECT_NE(home.run({"show"}).out.find("\n  " + record + "\n"), std::string::npos) << record;
  }
}

TEST_F(SqmctlShow, ReadsRecordsThatTheLibraryMade) {
  const DayHome day;
  const Outcome outcome = day.run({"show", "user-acceptance"});
  EXPECT_EQ(outcome.out,
            "user-acceptance 1 of 1, 229 bytes\n"
            "  <userAcceptance>\n"
            "    <eventTime timestamp=\"2026-11-21T08:55:00Z\">2026-11-21T13:10:00Z</eventTime>\n"
            "    <userName>ada</userName>\n"
            "    <promptKind>roaming</promptKind>\n"
            "    <promptAnswer>yes</promptAnswer>\n"
            "    <promptSeconds>4</promptSeconds>\n"
            "  </userAcceptance>\n");
}

// --- documents ----------------------------------------------------------------------------------------------------

TEST(SqmctlDocuments, AreThoseThatAnUploadPosts) {
  const Home home;
  home.putList("SQMApplication.plist", {"<vpn/>", "<vpn>2</vpn>"});
  home.putList("SQMDevice.plist", {"<d/>"});
  home.putList("SQMUserAcceptance.plist", {"<u/>"});
  EXPECT_EQ(home.run({"documents", "application"}).out,
            "application, 2 records, 75 bytes\n"
            "  <?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
            "  <sqmList>\n"
            "    <vpn/>\n"
            "    <vpn>2</vpn>\n"
            "  </sqmList>\n");
  const std::string document = R"(<?xml version="1.0" encoding="utf-8"?><sqmList><vpn/><vpn>2</vpn></sqmList>)";
  EXPECT_EQ(home.run({"documents", "application", "--raw"}).out, document + "\n");
  EXPECT_EQ(Json::parse(home.run({"documents", "application", "--json"}).out),
            Json::array({{{"type", "application"}, {"records", 2}, {"bytes", 75}, {"document", document}}}));
  EXPECT_EQ(home.run({"documents", "--raw"}).out,
            R"(<?xml version="1.0" encoding="utf-8"?><connectionList></connectionList>
<?xml version="1.0" encoding="utf-8"?><deviceList><d/></deviceList>
)" + document +
                R"(
<?xml version="1.0" encoding="utf-8"?><userAcceptanceList><u/></userAcceptanceList>
)");
}

TEST(SqmctlDocuments, AreNoneWhereAnUploadPostsNothing) {
  EXPECT_EQ(Home().run({"documents"}).out, "");
  const Home waiting;
  waiting.putList("SQMUserAcceptance.plist", {"<u/>"});
  EXPECT_EQ(waiting.run({"documents", "user-acceptance"}).out, "");
}

}  // namespace
