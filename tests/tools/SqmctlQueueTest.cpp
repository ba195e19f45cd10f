// `sqmctl queue`: the upload queue, listed, filled and sent.

#include <string>

#include <nlohmann/json.hpp>

#include "tests/platform/http/LoopbackServer.h"
#include "tests/tools/Sqmctl.h"

namespace {

using sqm::tests::Answer;
using sqm::tests::LoopbackServer;
using sqm::tests::response;

std::size_t waiting(const Home& home) { return Json::parse(home.run({"queue", "list", "--json"}).out).size(); }

TEST(SqmctlQueueAdd, TakesASchemeInAnyCase) {
  const Home home;
  EXPECT_EQ(home.run({"queue", "add", "HTTP://127.0.0.1:1/", "x"}).status, 0);
}

TEST(SqmctlQueueAdd, RefusesAnAddressThatTheLibraryCannotPostTo) {
  const Home home;
  for (const std::string address : {"", "http://", "http:///path", "http://127.0.0.1:99999/", "http://[::1/",
                                    "http://a b/", "https:/a/", "ftp://a/", "127.0.0.1:80"}) {
    const Outcome outcome = home.run({"queue", "add", address, "data"});
    EXPECT_EQ(outcome.status, 2) << address;
    EXPECT_EQ(outcome.err.find("sqmctl: URL: '" + address + "' is not an address to post to; an example is "), 0U)
        << outcome.err;
  }
  EXPECT_EQ(waiting(home), 0U);
}

TEST(SqmctlQueueAdd, TakesDataFromAnArgumentAFileOrStandardInput) {
  const Home home;
  const std::string file = home.path() + "/body";
  putContent(file, "from a file");
  EXPECT_EQ(home.run({"queue", "add", "http://127.0.0.1:1/a", "from an argument"}).out,
            "Queued 16 bytes for http://127.0.0.1:1/a; 1 request in the queue\n");
  EXPECT_EQ(home.run({"queue", "add", "http://127.0.0.1:1/b", "--file", file}).status, 0);
  EXPECT_EQ(home.run({"queue", "add", "http://127.0.0.1:1/c"}, "from standard input").status, 0);
  EXPECT_EQ(home.run({"queue", "add", "http://127.0.0.1:1/d", ""}).status, 0);
  const Outcome outcome = home.run({"queue", "list"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out,
            "1  http://127.0.0.1:1/a  16 bytes\n   from an argument\n"
            "2  http://127.0.0.1:1/b  11 bytes\n   from a file\n"
            "3  http://127.0.0.1:1/c  19 bytes\n   from standard input\n"
            "4  http://127.0.0.1:1/d  0 bytes\n");
}

TEST(SqmctlQueueAdd, TakesDataOnce) {
  const Home home;
  const Outcome outcome = home.run({"queue", "add", "http://127.0.0.1:1/", "data", "--file", "file"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(waiting(home), 0U);
}

TEST(SqmctlQueueAdd, NamesTheFileThatItCannotRead) {
  const Home home;
  const Outcome outcome = home.run({"queue", "add", "http://127.0.0.1:1/", "--file", home.path()});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err, "sqmctl: cannot read " + home.path() + ": Is a directory\n");
}

TEST(SqmctlQueueAdd, FailsWhenTheQueueCannotBeWritten) {
  const Home home;
  std::filesystem::create_directories(home.queue() + ".new/in the way");
  const Outcome outcome = home.run({"queue", "add", "http://127.0.0.1:1/", "data"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("sqmctl: cannot write " + home.queue() + ": "), std::string::npos) << outcome.err;
  EXPECT_NE(outcome.err.find("sqmctl: the request was not queued\n"), std::string::npos) << outcome.err;
}

TEST(SqmctlQueueAdd, LeavesADamagedQueueAlone) {
  const Home home;
  putContent(home.queue(), "no archive");
  for (const Words& words : {Words{"queue", "add", "http://127.0.0.1:1/", "data"}, Words{"queue", "send"}}) {
    const Outcome outcome = home.run(words);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "sqmctl: cannot read " + home.queue() +
                               ": it is no binary property list, or a damaged one\nNothing was changed. Move the file "
                               "away to begin a new queue.\n");
  }
  EXPECT_EQ(contentOf(home.queue()), "no archive");
}

TEST(SqmctlQueueList, SaysThatNothingWaits) {
  const Home home;
  EXPECT_EQ(home.run({"queue", "list"}).out, "No request waits\n");
  EXPECT_EQ(home.run({"queue", "list", "--json"}).out, "[]\n");
}

TEST(SqmctlQueueList, ShowsTheBeginningOfAnyBytes) {
  const Home home;
  const std::string bytes = "\033[31m red\n\xFF" + std::string(100, 'x');
  ASSERT_EQ(home.run({"queue", "add", "http://127.0.0.1:1/"}, bytes).status, 0);
  EXPECT_EQ(home.run({"queue", "list"}).out,
            "1  http://127.0.0.1:1/  111 bytes\n   \\u001B[31m red\\n\\xFF" + std::string(49, 'x') + "…\n");
  EXPECT_EQ(home.runAtTerminal({"queue", "list"}).out.find("\033[31m"), std::string::npos);
}

TEST(SqmctlQueueList, GivesProgramsEveryByte) {
  const Home home;
  ASSERT_EQ(home.run({"queue", "add", "http://127.0.0.1:1/a"}, "Café").status, 0);
  ASSERT_EQ(home.run({"queue", "add", "http://127.0.0.1:1/b"}, "a\xFF").status, 0);
  EXPECT_EQ(Json::parse(home.run({"queue", "list", "--json"}).out),
            Json::array({{{"url", "http://127.0.0.1:1/a"}, {"bytes", 5}, {"encoding", "utf-8"}, {"data", "Café"}},
                         {{"url", "http://127.0.0.1:1/b"}, {"bytes", 2}, {"encoding", "base64"}, {"data", "Yf8="}}}));
}

TEST(SqmctlQueueSend, PostsAllOneAfterAnother) {
  const Home home;
  const Collector collector;
  for (const char* const data : {"first", "second", "third"}) {
    ASSERT_EQ(home.run({"queue", "add", collector.address() + "/" + data, data}).status, 0);
  }
  const Outcome outcome = home.run({"queue", "send"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(withoutSeconds(outcome.out), "  " + collector.address() + "/first  5 bytes  N s  status 200\n" + "  " +
                                             collector.address() + "/second  6 bytes  N s  status 200\n" + "  " +
                                             collector.address() + "/third  5 bytes  N s  status 200\n");
  EXPECT_EQ(waiting(home), 0U);
  const auto posts = postsTo(collector);
  ASSERT_EQ(posts.size(), 3U);
  EXPECT_EQ(posts[2], (std::pair<std::string, std::string>("/third", "third")));
}

TEST(SqmctlQueueSend, PostsNothingWhenNothingWaits) {
  const Home home;
  const auto before = everythingBelow(home.path());
  const Outcome outcome = home.run({"queue", "send"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "No request waits; nothing was posted\n");
  EXPECT_EQ(everythingBelow(home.path()), before);
}

TEST(SqmctlQueueSend, StopsAtWhatIsNotTaken) {
  const Home home;
  const LoopbackServer server({response("200 OK"), response("202 Accepted")});
  for (int count = 0; count < 3; ++count) ASSERT_EQ(home.run({"queue", "add", server.url(), "data"}).status, 0);
  const Outcome outcome = home.run({"queue", "send"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: the request to " + server.url() +
                             " stays, and 1 behind it: the server answered with status 202; only 200 removes a request "
                             "from the queue\n");
  EXPECT_EQ(waiting(home), 2U);
  EXPECT_EQ(server.requests().size(), 2U);
}

TEST(SqmctlQueueSend, KeepsWhatNoServerTook) {
  const Home home;
  const std::string address = deadAddress() + "/";
  ASSERT_EQ(home.run({"queue", "add", address, "data"}).status, 0);
  const Outcome outcome = home.run({"queue", "send"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err.find("sqmctl: the request to " + address + " stays: error: "), 0U) << outcome.err;
  EXPECT_EQ(waiting(home), 1U);
}

TEST(SqmctlQueueSend, GivesUpWhenTheTimeIsUp) {
  const Home home;
  const LoopbackServer server(Answer{});
  ASSERT_EQ(home.run({"queue", "add", server.url(), "data"}).status, 0);
  const Outcome outcome = home.run({"queue", "send", "--timeout", "0.2"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, "sqmctl: the request to " + server.url() + " stays: no answer within 0.20 s\n");
  EXPECT_EQ(waiting(home), 1U);
}

}  // namespace
