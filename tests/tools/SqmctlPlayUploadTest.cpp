// sqmctl play: its uploads, to the collection server and to servers that do not respond.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/tools/Play.h"

namespace {

std::vector<std::string> pathsOf(const std::vector<std::pair<std::string, std::string>>& posts) {
  std::vector<std::string> paths;
  paths.reserve(posts.size());
  for (const auto& [path, body] : posts) paths.push_back(path);
  return paths;
}

TEST(SqmctlPlayUpload, WritesTheNotificationsInOrder) {
  const Collector collector;
  const Played played(with(
      collector.address(),
      R"({"do":"setURLs","client":"$/client","connection":"$/connection","device":"$/device","application":"$/application","userAcceptance":"$/user-acceptance"}
{"do":"setDeviceType","value":3}
{"do":"client","params":{"6":"a"}}
{"do":"connectionStart","params":{"6":"b"}}
{"do":"device","params":{"6":"c"}}
{"do":"applicationStart","params":{"6":"d"}}
{"do":"filter","replace":[{"name":"useracceptance","values":{"6":"complete"}}]}
{"do":"userAcceptance","params":{"6":"e"}}
{"do":"upload"}
{"do":"upload","timeoutSeconds":30.5}
)"));
  const std::string success = "\"TrelkSQMUploadSuccess\"";
  EXPECT_EQ(played.result(9),
            "{\"notifications\":[" + success + "," + success + "," + success + "," + success + "," + success + "]}");
  // The connection document is posted even when there are no records.
  EXPECT_EQ(played.result(10), "{\"notifications\":[" + success + "]}") << played.out();
  EXPECT_EQ(pathsOf(postsTo(collector)), (std::vector<std::string>{"/client", "/connection", "/device", "/application",
                                                                   "/user-acceptance", "/connection"}));
  EXPECT_EQ(played.status(), 0);
}

TEST(SqmctlPlayUpload, AFailureEndsItAndKeepsTheRecords) {
  const Collector collector;
  const Played played(
      with(collector.address(), R"({"do":"setURLs","client":"$/client","connection":")" + deadAddress() + R"("}
{"do":"setDeviceType","value":1}
{"do":"client","params":{"6":"a"}}
{"do":"connectionStart","params":{"6":"kept"}}
{"do":"upload"}
{"do":"setURLs","connection":null}
{"do":"upload"}
{"do":"setURLs","connection":"no address"}
{"do":"upload"}
)"));
  EXPECT_EQ(played.result(5), R"({"notifications":["TrelkSQMUploadSuccess","TrelkSQMUploadFailure"]})");
  EXPECT_EQ(played.result(7), R"({"notifications":["TrelkSQMUploadFailure"]})");
  EXPECT_EQ(played.result(9), R"({"notifications":["TrelkSQMUploadFailure"]})");
  EXPECT_EQ(played.status(), 0) << "it ran, whatever came of it";
  EXPECT_NE(played.inApplication("SQM/SQMConnection.plist").find("kept"), std::string::npos);
}

TEST(SqmctlPlayUpload, AddressesAreSetOneByOne) {
  const Collector collector;
  const Played played(with(collector.address(), R"({"do":"setURLs","connection":"$/connection"}
{"do":"setURLs","client":"$/client"}
{"do":"setURLs"}
{"do":"client","params":{"6":"a"}}
{"do":"upload"}
)"));
  EXPECT_EQ(pathsOf(postsTo(collector)), (std::vector<std::string>{"/client", "/connection"})) << played.out();
}

TEST(SqmctlPlayUpload, AnActiveRequestIsAbortedAtTheTimeLimit) {
  const SilentServer silent;
  const Collector collector;
  const Played played(with(collector.address(), with(silent.address(), R"({"do":"setURLs","connection":"$/a"})") + R"(
{"do":"setDeviceType","value":1}
{"do":"connectionStart","params":{"6":"once"}}
{"do":"upload","timeoutSeconds":0.1}
{"do":"upload","timeoutSeconds":0}
{"do":"setURLs","connection":"$/b"}
{"do":"upload"}
)"));
  EXPECT_EQ(played.result(4), R"({"notifications":[]})");
  EXPECT_EQ(played.result(5), R"({"notifications":[]})");
  EXPECT_EQ(played.result(7), R"({"notifications":["TrelkSQMUploadSuccess"]})");
  const auto posts = postsTo(collector);
  ASSERT_EQ(posts.size(), 1U);
  EXPECT_NE(posts[0].second.find("once"), std::string::npos);
}

TEST(SqmctlPlayUpload, AnAbortedUploadDoesNotAffectTheNext) {
  // Each kind of upload after an aborted one of each kind.
  const SilentServer silent;
  const Collector collector;
  const std::string hang = with(silent.address(), R"({"do":"setURLs","connection":"$/"}
{"do":"upload","timeoutSeconds":0.05}
{"do":"directory.upload","path":"x","url":"$/","timeoutSeconds":0.05}
{"do":"queue.add","data":"first","url":"$/"}
{"do":"queue.upload","timeoutSeconds":0.05}
)");
  const Played played(hang + with(collector.address(), R"({"do":"setURLs","connection":"$/connection"}
{"do":"upload"}
{"do":"directory.upload","path":"x","url":"$/sqm"}
{"do":"queue.upload","timeoutSeconds":0.05}
)"));
  EXPECT_EQ(played.result(2), R"({"notifications":[]})");
  EXPECT_EQ(played.result(3), R"({"status":2,"notifications":[]})");
  EXPECT_EQ(played.result(5), R"({"remaining":1})");
  EXPECT_EQ(played.result(7), R"({"notifications":["TrelkSQMUploadSuccess"]})");
  EXPECT_EQ(played.result(8), R"({"status":4,"notifications":["TrelkSQMUploadComplete"]})");
  EXPECT_EQ(played.result(9), R"({"remaining":1})");
  EXPECT_EQ(pathsOf(postsTo(collector)), (std::vector<std::string>{"/connection", "/sqm"}));
}

TEST(SqmctlPlayUpload, AFolderIsSentAndEmptied) {
  const Collector collector;
  const Played played(with(collector.address(), R"({"do":"collector.directory","path":"a/b"}
{"do":"collector.autoConnect","value":7}
{"do":"collector.save"}
{"do":"directory.upload","path":"a/b","url":"$/sqm"}
{"do":"directory.upload","path":"a/b/","url":"$/sqm","timeoutSeconds":10}
{"do":"directory.upload","path":"missing","url":"$/sqm"}
)"));
  const std::string completed = R"({"status":4,"notifications":["TrelkSQMUploadComplete"]})";
  EXPECT_EQ(played.result(4), completed);
  EXPECT_EQ(played.result(5), completed);
  EXPECT_EQ(played.result(6), completed);
  const auto posts = postsTo(collector);
  ASSERT_EQ(posts.size(), 3U);
  EXPECT_NE(posts[0].second.find(",\"7\"\n"), std::string::npos) << posts[0].second;
  EXPECT_EQ(posts[1].second, "");
  EXPECT_EQ(posts[2].second, "");
  EXPECT_TRUE(std::filesystem::is_empty(played.home() + "/a/b"));
  EXPECT_FALSE(std::filesystem::exists(played.home() + "/missing"));
  EXPECT_EQ(played.err().rfind("Path :sqm\n", 0), 0U) << "the library's console is standard error: " << played.err();
}

TEST(SqmctlPlayUpload, AFolderThatCannotBeSentStays) {
  const Played played(R"({"do":"collector.directory","path":"a"}
{"do":"collector.save"}
{"do":"directory.upload","path":"a","url":")" +
                      deadAddress() + R"("}
{"do":"directory.upload","path":"a","url":""}
)");
  EXPECT_EQ(played.result(3), R"({"status":3,"notifications":["TrelkSQMUploadError"]})");
  EXPECT_EQ(played.result(4), R"({"status":3,"notifications":["TrelkSQMUploadError"]})");
  EXPECT_FALSE(std::filesystem::is_empty(played.home() + "/a"));
}

TEST(SqmctlPlayUpload, TheQueueIsSentToItsEnd) {
  const Collector collector;
  const Played played(with(collector.address(), R"({"do":"queue.upload"}
{"do":"queue.add","data":"first","url":"$/1"}
{"do":"queue.add","data":"","url":"$/2"}
{"do":"queue.add","data":null,"url":"$/3"}
{"do":"queue.add","data":"x","url":null}
{"do":"queue.add","data":"third","url":"$/3"}
{"do":"queue.upload"}
{"do":"queue.upload"}
)"));
  EXPECT_EQ(played.result(1), R"({"remaining":0})");
  EXPECT_EQ(played.result(2), "true");
  EXPECT_EQ(played.result(3), "true");
  EXPECT_EQ(played.result(4), "false");
  EXPECT_EQ(played.result(5), "false");
  EXPECT_EQ(played.result(6), "true");
  EXPECT_EQ(played.result(7), R"({"remaining":0})");
  EXPECT_EQ(played.result(8), R"({"remaining":0})");
  const auto posts = postsTo(collector);
  EXPECT_EQ(pathsOf(posts), (std::vector<std::string>{"/1", "/2", "/3"}));
  EXPECT_EQ(posts.at(2).second, "third");
  EXPECT_NE(played.log("UploadData.log").find("QFRecordUploader :: quequeRecord- saved URL:"), std::string::npos);
}

TEST(SqmctlPlayUpload, TheQueueOutlivesTheRun) {
  const Collector collector;
  Played played(with(deadAddress(), R"({"do":"queue.add","data":"a","url":"$/"}
{"do":"queue.upload"}
)") + with(collector.address(), R"({"do":"queue.add","data":"b","url":"$/b"}
{"do":"restart"}
)"));
  EXPECT_EQ(played.result(2), R"({"remaining":1})");
  played.play("{\"do\":\"queue.upload\",\"timeoutSeconds\":5}\n");
  EXPECT_EQ(played.result(1), R"({"remaining":2})") << "the first holds up those behind it";
  EXPECT_EQ(postsTo(collector).size(), 0U);
}

TEST(SqmctlPlayUpload, AResponseOfAnyStatusDeliversADocument) {
  const struct {
    const char* fault;
    const char* notification;
  } cases[] = {
      {"/connection:status=500", "TrelkSQMUploadSuccess"},   {"/connection:status=404", "TrelkSQMUploadSuccess"},
      {"/connection:reset=before", "TrelkSQMUploadFailure"}, {"/connection:reset=inside", "TrelkSQMUploadFailure"},
      {"/connection:cut", "TrelkSQMUploadFailure"},
  };
  for (const auto& [fault, notification] : cases) {
    const Collector collector({"--fail", fault});
    const Played played(with(collector.address(), R"({"do":"setURLs","connection":"$/connection"}
{"do":"upload"}
)"));
    EXPECT_EQ(played.result(2), "{\"notifications\":[\"" + std::string(notification) + "\"]}") << fault;
  }
}

TEST(SqmctlPlayUpload, OnlyStatus200DeliversFoldersAndRequests) {
  const Collector collector({"--fail", "*:status=500:2"});
  const Played played(with(collector.address(), R"({"do":"collector.directory","path":"a"}
{"do":"collector.save"}
{"do":"directory.upload","path":"a","url":"$/sqm"}
{"do":"queue.add","data":"x","url":"$/queue"}
{"do":"queue.upload"}
{"do":"queue.upload"}
{"do":"directory.upload","path":"a","url":"$/sqm"}
)"));
  EXPECT_EQ(played.result(3), R"({"status":3,"notifications":["TrelkSQMUploadError"]})");
  EXPECT_EQ(played.result(5), R"({"remaining":1})");
  EXPECT_EQ(played.result(6), R"({"remaining":0})");
  EXPECT_EQ(played.result(7), R"({"status":4,"notifications":["TrelkSQMUploadComplete"]})");
}

TEST(SqmctlPlayUpload, ALateResponseHasNoEffect) {
  const Collector collector({"--fail", "/late:delay=3600"});
  const Played played(with(collector.address(), R"({"do":"setDeviceType","value":1}
{"do":"connectionStart","params":{"6":"a"}}
{"do":"setURLs","connection":"$/late"}
{"do":"upload","timeoutSeconds":0.1}
{"do":"setURLs","connection":"$/connection","client":"$/client"}
{"do":"client","params":{"6":"b"}}
{"do":"upload"}
)"));
  EXPECT_EQ(played.result(4), R"({"notifications":[]})");
  EXPECT_EQ(played.result(7), R"({"notifications":["TrelkSQMUploadSuccess","TrelkSQMUploadSuccess"]})");
}

}  // namespace
