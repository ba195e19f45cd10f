// `sqmctl directory`: a folder of .sqm files, shown and sent.

#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "tests/platform/http/LoopbackServer.h"
#include "tests/support/Golden.h"
#include "tests/tools/Sqmctl.h"

namespace {

using sqm::tests::Answer;
using sqm::tests::LoopbackServer;
using sqm::tests::response;

class SqmctlDirectory : public ::testing::Test {
 protected:
  SqmctlDirectory() { putContent(folder / "0Q20261115210738.sqm", session); }

  const std::string session = goldenText("full_session.sqm") + "\n";
  TemporaryFolder folder;
  Home home;
};

TEST_F(SqmctlDirectory, NamesThePositionsOfASession) {
  const Outcome outcome = home.run({"directory", "show", folder.path()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out.find("0Q20261115210738.sqm  " + std::to_string(session.size()) +
                             " bytes\n"
                             "   0  username          jo@example.net\n"
                             "   1  osVersion         10.8.2\n"
                             "   2  application       Barrim.exe 4.70\n"
                             "   4  postConnect       post\n"
                             "   5  devicetype        WiFi\n"
                             "   7  forSSID           Café Mitte\n"
                             "  12  connectStart      2026-11-15 20:01:5.3\n"),
            0U)
      << outcome.out;
  EXPECT_NE(outcome.out.find("\n  43  43                0\n"), std::string::npos) << outcome.out;
}

TEST_F(SqmctlDirectory, TellsProgramsTheSame) {
  putContent(folder / "1.sqm", R"("a","b)");
  putContent(folder / "2.SQM", "\"\xFF\"\n");
  const Outcome outcome = home.run({"directory", "show", folder.path(), "--json"});
  EXPECT_EQ(outcome.status, 0);
  const Json files = Json::parse(outcome.out);
  ASSERT_EQ(files.size(), 3U);
  EXPECT_EQ(files[0].at("file"), "0Q20261115210738.sqm");
  EXPECT_EQ(files[0].at("problem"), nullptr);
  EXPECT_EQ(files[0].at("values")[2], Json::array({"application", "Barrim.exe 4.70"}));
  EXPECT_EQ(files[0].at("values")[3], Json::array({"postConnect", "post"})) << "what is empty is left out";
  EXPECT_EQ(files[1].at("problem"), "it is cut short: it does not end with a quote and a line feed");
  EXPECT_EQ(files[1].at("values"), Json::array({Json::array({"username", "a"}), Json::array({"osVersion", "b"})}));
  EXPECT_EQ(files[2].at("problem"), "it is not well-formed UTF-8: it is not sent, but deleted with the others");
}

TEST_F(SqmctlDirectory, TheQuoteThatEndsACutLineIsNotPartOfItsValue) {
  putContent(folder / "1.sqm", R"("a","b")");
  const Json files = Json::parse(home.run({"directory", "show", folder.path(), "--json"}).out);
  EXPECT_EQ(files[1].at("problem"), "it is cut short: it does not end with a quote and a line feed");
  EXPECT_EQ(files[1].at("values"), Json::array({Json::array({"username", "a"}), Json::array({"osVersion", "b"})}));
}

TEST_F(SqmctlDirectory, SaysWhatIsNoWholeSession) {
  const struct {
    std::string content;
    std::string problem;
  } cases[] = {{"", "it does not begin with a quote"},
               {"\"a\",\"b\"\n", "it has fewer than 86 fields"},
               {session.substr(0, session.size() - 1) + ",\"87\"\n",
                "it has more than 86 fields: a value that looks like the border of two, or two sessions"}};
  for (const auto& [content, problem] : cases) {
    putContent(folder / "0Q20261115210738.sqm", content);
    EXPECT_NE(home.run({"directory", "show", folder.path()}).out.find(" bytes\n  " + problem + "\n"), std::string::npos)
        << problem;
  }
}

TEST_F(SqmctlDirectory, SaysThatThereIsNoFile) {
  const TemporaryFolder empty;
  EXPECT_EQ(home.run({"directory", "show", empty.path()}).out, "There is no .sqm file in " + empty.path() + "\n");
  const Outcome outcome = home.run({"directory", "send", empty.path(), "http://127.0.0.1:1/"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "There is no .sqm file in " + empty.path() + "; nothing was posted\n");
}

TEST_F(SqmctlDirectory, LetsNoValueSteerATerminal) {
  putContent(folder / "1\033[31m.sqm", "\"\033[31m\"\n");
  const Outcome outcome = home.runAtTerminal({"directory", "show", folder.path()});
  EXPECT_EQ(outcome.out.find("\033[31m.sqm"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("1\\u001B[31m.sqm"), std::string::npos) << outcome.out;
  EXPECT_NE(outcome.out.find("\\u001B[31m\n"), std::string::npos) << outcome.out;
}

TEST_F(SqmctlDirectory, IsSentAsOneBodyAndDeleted) {
  putContent(folder / "1.sqm", "second");
  putContent(folder / "other.txt", "stays");
  const Collector collector;
  const Outcome outcome = home.run({"directory", "send", folder.path(), collector.address() + "/sqm"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(withoutSeconds(outcome.out), "  2 files  N s  status 200\n");
  EXPECT_EQ(folder.names(), std::vector<std::string>{"other.txt"});
  const auto posts = postsTo(collector);
  ASSERT_EQ(posts.size(), 1U);
  EXPECT_EQ(posts[0].first, "/sqm");
  EXPECT_EQ(posts[0].second, session + "second");
}

TEST_F(SqmctlDirectory, StaysWhenTheAnswerIsNot200) {
  const LoopbackServer server(response("503 Busy"));
  const Outcome outcome = home.run({"directory", "send", folder.path(), server.url()});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: 1 file stays in " + folder.path() +
                             ": the server answered with status 503; only 200 removes the files from the folder\n");
  EXPECT_EQ(folder.names().size(), 1U);
}

TEST_F(SqmctlDirectory, StaysWhenNoServerAnswers) {
  Outcome outcome = home.run({"directory", "send", folder.path(), deadAddress() + "/"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err.find("sqmctl: 1 file stays in " + folder.path() + ": error: "), 0U) << outcome.err;

  const LoopbackServer server(Answer{});
  outcome = home.run({"directory", "send", folder.path(), server.url(), "--timeout", "0.2"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: 1 file stays in " + folder.path() + ": no answer within 0.20 s\n");
}

TEST_F(SqmctlDirectory, IsNotSentBesideWhatWouldBeDeletedUnsent) {
  putContent(folder / "1.sqm", "\"\xFF\"\n");
  const Collector collector;
  const Outcome outcome = home.run({"directory", "send", folder.path(), collector.address()});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: " + folder / "1.sqm" +
                             " is not well-formed UTF-8\nNothing was posted: the file would be deleted unsent. Move it "
                             "away first.\n");
  EXPECT_EQ(folder.names().size(), 2U);
  EXPECT_TRUE(postsTo(collector).empty());
}

TEST_F(SqmctlDirectory, IsNotPostedForEverWhenItsFilesCannotBeDeleted) {
  const Collector collector;
  std::filesystem::permissions(home.path(), std::filesystem::perms::all);
  std::filesystem::permissions(folder / "0Q20261115210738.sqm", std::filesystem::perms::others_read,
                               std::filesystem::perm_options::add);
  const RestrictedPermissions toDelete(folder.path(), kReadOnlyFolder);
  Outcome outcome;
  {
    const OrdinaryUser user;
    outcome = home.run({"directory", "send", folder.path(), collector.address(), "--timeout", "20"});
  }
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err,
            "sqmctl: 1 file stays in " + folder.path() + ": the server has them, but they cannot be deleted\n");
  EXPECT_LE(postsTo(collector).size(), 2U);
}

}  // namespace
