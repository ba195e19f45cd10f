// `sqmctl --accept 2xx`, and `sqmctl refused`: the bodies that servers refused.

#include <filesystem>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tests/platform/http/LoopbackServer.h"
#include "tests/tools/Sqmctl.h"

namespace {

using sqm::tests::Answer;
using sqm::tests::LoopbackServer;
using sqm::tests::response;

/// A home whose one client record was refused by a server, and the document.
class RefusedHome : public Home {
 public:
  explicit RefusedHome(const LoopbackServer& server) {
    putList("SQMClient.plist", {"<client>ada</client>"});
    std::string url = server.url("/sqm");
    url.insert(url.find("//") + 2, "ada:secret@");
    upload = run({"upload", "--all", url, "--accept", "2xx"});
    document = server.requests().empty() ? "" : server.requests().front().body;
  }

  std::string folder() const { return lists() + "/Refused"; }
  std::string file(const std::string& number) const { return folder() + "/000000000" + number + ".refused"; }

  Outcome upload;
  std::string document;
};

const Answer kNotFound = response("404 Not Found");
const Answer kOk = response("200 OK");

TEST(SqmctlAccept, WithoutItAnyStatusDeletesTheRecords) {
  const LoopbackServer server(kNotFound);
  const Home home;
  home.putList("SQMClient.plist", {"<client/>"});
  const Outcome outcome = home.run({"upload", "--all", server.url()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_NE(outcome.err.find("a completed exchange counts as delivered whatever its status"), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(home.lists() + "/Refused"));
}

TEST(SqmctlAccept, AnUploadThatIsToBeRetriedKeepsTheRecords) {
  const LoopbackServer server(response("503 Busy"));
  const Home home;
  home.putList("SQMClient.plist", {"<client/>"});
  const Outcome outcome = home.run({"--accept", "2xx", "upload", "--all", server.url()});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err,
            "sqmctl: client: the server answered with status 503; it is to be sent again later\n"
            "sqmctl: still stored: 1 client record; the next upload sends them\n");
}

TEST(SqmctlAccept, ARefusedDocumentIsKeptAndTheUploadGoesOn) {
  const LoopbackServer server({kNotFound, kOk});
  const RefusedHome home(server);
  EXPECT_EQ(home.upload.status, 1);
  EXPECT_EQ(server.requests().size(), 2U);
  EXPECT_EQ(home.upload.err, "sqmctl: the server refused " + std::to_string(home.document.size()) +
                                 " bytes with status 404; they are kept, see 'sqmctl refused list'\n");
  EXPECT_TRUE(std::filesystem::exists(home.file("1")));
}

TEST(SqmctlAccept, AppliesToTheQueueAndToAFolder) {
  const LoopbackServer server(
      {{"HTTP/1.1 204 No Content\r\n\r\n"}, response("400 Bad"), response("500 Oops"), response("201 Created")});
  const Home home;
  for (const char* const body : {"one", "two", "three"}) home.run({"queue", "add", server.url(), body});
  const Outcome queue = home.run({"queue", "send", "--accept", "2xx"});
  EXPECT_EQ(queue.status, 1);
  EXPECT_NE(queue.err.find("the server refused 3 bytes with status 400"), std::string::npos) << queue.err;
  EXPECT_NE(queue.err.find("stays: the server answered with status 500; it is to be sent again later\n"),
            std::string::npos)
      << queue.err;
  EXPECT_EQ(Json::parse(home.run({"queue", "list", "--json"}).out).size(), 1U);

  const TemporaryFolder sessions;
  putContent(sessions / "a.sqm", "a session");
  EXPECT_EQ(home.run({"directory", "send", sessions.path(), server.url(), "--accept", "2xx"}).status, 0);
  EXPECT_TRUE(sessions.names().empty());
}

TEST(SqmctlAccept, IsAnyOr2xx) {
  const Home home;
  const Outcome outcome = home.run({"status", "--accept", "200"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.err.find("--accept: 200 not in {any,2xx}"), std::string::npos) << outcome.err;
  EXPECT_EQ(home.run({"status", "--accept", "any"}).status, 0);
}

TEST(SqmctlRefused, ListsWithoutCredentials) {
  const LoopbackServer server({kNotFound, kOk});
  const RefusedHome home(server);
  const Outcome text = home.run({"refused", "list"});
  EXPECT_EQ(text.status, 0);
  const std::string bytes = std::to_string(home.document.size());
  EXPECT_TRUE(text.out.starts_with("1  " + server.url("/sqm/client") + "  " + bytes + " bytes  status 404  20"))
      << text.out;
  const Json all = Json::parse(home.run({"refused", "list", "--json"}).out);
  ASSERT_EQ(all.size(), 1U);
  EXPECT_EQ(all[0]["number"], 1);
  EXPECT_EQ(all[0]["url"], server.url("/sqm/client"));
  EXPECT_EQ(all[0]["status"], 404);
  EXPECT_EQ(all[0]["bytes"], home.document.size());
  EXPECT_EQ(Home().run({"refused", "list"}).out, "Nothing was refused\n");
}

TEST(SqmctlRefused, ShowsABody) {
  const LoopbackServer server({kNotFound, kOk});
  const RefusedHome home(server);
  EXPECT_EQ(home.run({"refused", "show", "1", "--raw"}).out, home.document);
  const Outcome shown = home.run({"refused", "show", "1"});
  EXPECT_NE(shown.out.find("\n" + home.document + "\n"), std::string::npos) << shown.out;
  EXPECT_EQ(shown.out.find("secret"), std::string::npos);
  const Outcome missing = home.run({"refused", "show", "2"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.err,
            "sqmctl: there is no refused body 2; 'sqmctl refused list' shows the numbers. Nothing was done.\n");
}

TEST(SqmctlRefused, EscapesWhatWouldControlATerminal) {
  const Home home;
  std::filesystem::create_directories(home.lists() + "/Refused");
  putContent(home.lists() + "/Refused/0000000001.refused",
             "SQM refused body 1\naddress: http://a/\x1B\nstatus: 404\ntime: \x1B[2J\nbytes: 4\n\n\x1B[2J");
  for (const Words& words :
       {Words{"refused", "list"}, Words{"refused", "show", "1"}, Words{"refused", "show", "1", "--raw"}}) {
    EXPECT_EQ(home.runAtTerminal(words).out.find("\x1B[2J"), std::string::npos) << words.back();
  }
  EXPECT_EQ(home.run({"refused", "show", "1"}).out.find('\x1B'), std::string::npos);
}

TEST(SqmctlRefused, SendsAgainAndRemovesWhatIsTaken) {
  const LoopbackServer server({kNotFound, kOk, response("410 Gone"), response("201 Created")});
  const RefusedHome home(server);
  const Outcome refusedAgain = home.run({"refused", "send", "1", "--accept", "2xx"});
  EXPECT_EQ(refusedAgain.status, 1);
  EXPECT_NE(refusedAgain.err.find("the refused body 1 stays: the server answered with status 410; only 2xx removes"),
            std::string::npos)
      << refusedAgain.err;
  EXPECT_TRUE(std::filesystem::exists(home.file("1")));
  EXPECT_FALSE(std::filesystem::exists(home.file("2"))) << "it is not refused a second time";

  const Outcome taken = home.run({"refused", "send", "--all"});
  EXPECT_EQ(taken.status, 0) << taken.err;
  EXPECT_EQ(server.requests().back().body, home.document);
  EXPECT_NE(server.requests().back().head.find("Authorization: Basic "), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(home.file("1")));
  EXPECT_EQ(home.run({"refused", "send", "--all"}).out, "Nothing was refused; nothing was posted\n");
}

TEST(SqmctlRefused, KeepsWhatGetsNoAnswer) {
  const LoopbackServer server({kNotFound, kOk, {"", Answer::Then::close}});
  const RefusedHome home(server);
  const Outcome outcome = home.run({"refused", "send", "--all"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("the refused body 1 stays: error: "), std::string::npos) << outcome.err;
  EXPECT_TRUE(std::filesystem::exists(home.file("1")));
}

TEST(SqmctlRefused, DeletesWhatIsNamed) {
  const LoopbackServer server({kNotFound, kOk});
  const RefusedHome home(server);
  std::filesystem::copy_file(home.file("1"), home.file("3"));
  EXPECT_EQ(home.run({"refused", "delete", "1", "2"}).status, 2);
  EXPECT_TRUE(std::filesystem::exists(home.file("1"))) << "nothing is done when a number is wrong";
  EXPECT_EQ(home.run({"refused", "delete"}).status, 2);
  EXPECT_EQ(home.run({"refused", "delete", "3"}).out, "Deleted 1 body\n");
  EXPECT_EQ(home.run({"refused", "delete", "--all"}).out, "Deleted 1 body\n");
  EXPECT_TRUE(std::filesystem::is_empty(home.folder()));
}

TEST(SqmctlRefused, ReportsADamagedFileAndLeavesIt) {
  const LoopbackServer server({kNotFound, kOk});
  const RefusedHome home(server);
  putContent(home.file("2"), "SQM refused body 1\n");
  const auto before = everythingBelow(home.path());
  const Outcome outcome = home.run({"refused", "list"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: cannot read " + home.file("2") + ": it is no refused body\n");
  EXPECT_EQ(home.run({"refused", "show", "2"}).status, 1);
  EXPECT_EQ(everythingBelow(home.path()), before);
}

}  // namespace
