// `sqmctl upload`, against a collection server and servers that misbehave.

#include <string>

#include <nlohmann/json.hpp>

#include "tests/platform/http/LoopbackServer.h"
#include "tests/tools/Sqmctl.h"

namespace {

using sqm::tests::Answer;
using sqm::tests::LoopbackServer;
using sqm::tests::response;

Json statusOf(const Home& home) { return Json::parse(home.run({"status", "--json"}).out).at("records"); }

std::size_t waiting(const Home& home) {
  std::size_t count = 0;
  const Json status = statusOf(home);
  for (const auto& [type, place] : status.items()) count += place.at("records").get<std::size_t>();
  return count;
}

TEST(SqmctlUpload, PostsADay) {
  const DayHome home;
  const Collector collector;
  const Outcome outcome = home.run({"upload", "--all", collector.address()});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(waiting(home), 0U);
  EXPECT_EQ(postsTo(collector).size(), 5U);
  EXPECT_EQ(withoutSeconds(outcome.out).find("  client                 1 record "), 0U) << outcome.out;
}

TEST(SqmctlUpload, PostsWhatDocumentsShows) {
  const std::vector<std::string> kLists = {"SQMClient.plist", "SQMConnection.plist", "SQMDevice.plist",
                                           "SQMApplication.plist", "SQMUserAcceptance.plist"};
  for (unsigned present = 0; present < 1U << kLists.size(); ++present) {
    const Home home;
    for (std::size_t list = 0; list < kLists.size(); ++list) {
      if ((present >> list & 1U) != 0) home.putList(kLists[list], {"<record/>"});
    }
    const Json documents = Json::parse(home.run({"documents", "--json"}).out);
    const Collector collector;
    home.run({"upload", "--all", collector.address()});
    const auto posts = postsTo(collector);
    ASSERT_EQ(documents.size(), posts.size()) << present;
    for (std::size_t at = 0; at < posts.size(); ++at) {
      EXPECT_EQ(posts[at].first, "/" + documents[at].at("type").get<std::string>()) << present;
      EXPECT_EQ(posts[at].second, documents[at].at("document")) << present;
    }
  }
}

TEST(SqmctlUpload, TakesAnAddressForEachType) {
  const Home home;
  home.putList("SQMClient.plist", {"<client/>"});
  const Collector collector;
  const Outcome outcome =
      home.run({"upload", "--client", collector.address() + "/a", "--connection", collector.address() + "/b"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(withoutSeconds(outcome.out),
            "  client                 1 record        72 bytes     N s  status 200\n"
            "  connection             0 records       71 bytes     N s  status 200\n");
  const auto posts = postsTo(collector);
  ASSERT_EQ(posts.size(), 2U);
  EXPECT_EQ(posts[0].first, "/a");
  EXPECT_EQ(posts[1].first, "/b");
}

TEST(SqmctlUpload, PostsNothingWhenNothingIsStored) {
  const Home home;
  const auto before = everythingBelow(home.path());
  const Outcome outcome = home.run({"upload"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "Nothing is stored below " + home.path() + "; nothing was posted\n");
  EXPECT_EQ(everythingBelow(home.path()), before);
}

TEST(SqmctlUpload, SaysWhichAddressIsMissing) {
  const Home home;
  home.putList("SQMDevice.plist", {"<d/>", "<d/>"});
  const auto before = everythingBelow(home.path());
  Outcome outcome = home.run({"upload", "--connection", "http://127.0.0.1:1/"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err,
            "sqmctl: there is no address for the 2 device records that wait; give --device URL, or --all URL-PREFIX. "
            "Nothing was posted.\n");
  outcome = home.run({"upload", "--device", "http://127.0.0.1:1/"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(
      outcome.err,
      "sqmctl: there is no address for the connection document, which is posted even when there are no connection "
      "records; give --connection URL, or --all URL-PREFIX. Nothing was posted.\n");
  EXPECT_EQ(everythingBelow(home.path()), before);
}

TEST(SqmctlUpload, KeepsWhatNoServerTook) {
  const DayHome home;
  const Outcome outcome = home.run({"upload", "--all", deadAddress()});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out.find("  client "), 0U) << outcome.out;
  EXPECT_NE(outcome.err.find("sqmctl: client: error: "), std::string::npos) << outcome.err;
  EXPECT_NE(
      outcome.err.find("sqmctl: still stored: 1 client record, 6 connection records, 1 device record, 2 application "
                       "records, 1 user-acceptance record; the next upload sends them\n"),
      std::string::npos)
      << outcome.err;
  EXPECT_EQ(waiting(home), 11U);
}

TEST(SqmctlUpload, SaysThatACompletedExchangeCountsWhateverItsStatus) {
  const Home home;
  home.putList("SQMClient.plist", {"<client/>"});
  const LoopbackServer server(response("500 Oops"));
  const Outcome outcome = home.run({"upload", "--all", server.url("/")});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(withoutSeconds(outcome.out),
            "  client                 1 record        72 bytes     N s  status 500\n"
            "  connection             0 records       71 bytes     N s  status 500\n");
  EXPECT_EQ(
      outcome.err,
      "sqmctl: client: the server answered with status 500; a completed exchange counts as delivered whatever its "
      "status, and the 1 record is deleted\n");
  EXPECT_EQ(waiting(home), 0U);
}

TEST(SqmctlUpload, GivesUpWhenTheTimeIsUp) {
  const Home home;
  home.putList("SQMClient.plist", {"<client/>"});
  const LoopbackServer server(Answer{});  // none
  const Outcome outcome = home.run({"upload", "--all", server.url("/"), "--timeout", "0.2"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "  client                 1 record        72 bytes  no answer\n");
  EXPECT_EQ(outcome.err,
            "sqmctl: client: no answer within 0.20 s; the server may have the records, and gets them again\n"
            "sqmctl: still stored: 1 client record; the next upload sends them\n");
}

TEST(SqmctlUpload, KeepsWhatWasLeftWhenItEnded) {
  const DayHome home;
  const LoopbackServer server({response("200 OK"), Answer{.bytes = "", .then = Answer::Then::close}});
  const Outcome outcome = home.run({"upload", "--all", server.url("/")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("sqmctl: connection: error: "), std::string::npos) << outcome.err;
  EXPECT_EQ(statusOf(home).at("client").at("records"), 0);
  EXPECT_EQ(statusOf(home).at("connection").at("records"), 6);
}

TEST(SqmctlUpload, SaysWhyUserAcceptancesStay) {
  const Home home;
  home.putList("SQMUserAcceptance.plist", {"<u/>"});
  const Collector collector;
  const Outcome outcome = home.run({"upload", "--all", collector.address()});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err,
            "sqmctl: still stored: 1 user-acceptance record; user acceptances are posted only together with device "
            "or application records\n");
}

TEST(SqmctlUpload, LeavesADamagedListAlone) {
  const DayHome home;
  putContent(home.list("SQMClient.plist"), "no property list");
  const auto before = everythingBelow(home.path());
  const Collector collector;
  const Outcome outcome = home.run({"upload", "--all", collector.address()});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_NE(outcome.err.find("sqmctl: cannot read " + home.list("SQMClient.plist")), std::string::npos) << outcome.err;
  EXPECT_NE(outcome.err.find("\nNothing was posted: "), std::string::npos) << outcome.err;
  EXPECT_EQ(postsTo(collector).size(), 0U);
  EXPECT_EQ(everythingBelow(home.path()), before);
}

TEST(SqmctlUpload, FailsWithoutItsLogs) {
  const DayHome home;
  std::filesystem::remove_all(home.path() + "/Library/Logs");
  putContent(home.path() + "/Library/Logs", "a file where the folder would be");
  const Outcome outcome = home.run({"upload", "--all", "http://127.0.0.1:1"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("client: it could not be posted; can the logs below the home directory be written?"),
            std::string::npos)
      << outcome.err;
  EXPECT_EQ(waiting(home), 11U);
}

TEST(SqmctlUpload, ShowsHowFarItIsOnATerminal) {
  const Home home;
  home.putList("SQMClient.plist", {"<client/>"});
  const Collector collector;
  const Outcome outcome = home.runAtTerminal({"upload", "--all", collector.address()});
  EXPECT_EQ(outcome.status, 0);
  const std::string row = "  client                 1 record        72 bytes  ";
  EXPECT_EQ(
      withoutSeconds(outcome.out).find("\r\033[K" + row + "under way\r\033[K" + row + "   N s  \033[32mstatus 200"), 0U)
      << outcome.out;
}

}  // namespace
