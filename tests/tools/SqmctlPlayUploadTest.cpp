// sqmctl play: what it sends, against the collection server and against servers that do not answer.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tests/tools/Play.h"

namespace {

struct Post {
  std::string path;
  std::string body;
};

std::vector<Post> postsTo(const Collector& collector) {
  httplib::Client client(collector.address());
  std::vector<Post> posts;
  for (const auto& request : nlohmann::json::parse(client.Get("/_requests")->body)) {
    const std::string resource = "/_requests/" + request.at("id").dump();
    const auto body = client.Get(resource + "/body");
    posts.push_back({request.at("path"), body->status == 200 ? body->body : client.Get(resource)->body});
  }
  return posts;
}

std::vector<std::string> pathsOf(const std::vector<Post>& posts) {
  std::vector<std::string> paths;
  for (const Post& post : posts) paths.push_back(post.path);
  return paths;
}

/// An address where nobody listens any more.
std::string nobody() { return SilentServer().address(); }

TEST(SqmctlPlayUpload, TellsTheNotificationsInOrder) {
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
  // The document of the connections is posted even when it holds none.
  EXPECT_EQ(played.result(10), "{\"notifications\":[" + success + "]}") << played.out();
  EXPECT_EQ(pathsOf(postsTo(collector)), (std::vector<std::string>{"/client", "/connection", "/device", "/application",
                                                                   "/user-acceptance", "/connection"}));
  EXPECT_EQ(played.status(), 0);
}

TEST(SqmctlPlayUpload, AFailureEndsItAndKeepsTheRecords) {
  const Collector collector;
  const Played played(
      with(collector.address(), R"({"do":"setURLs","client":"$/client","connection":")" + nobody() + R"("}
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

TEST(SqmctlPlayUpload, WhatIsUnderWayWhenTheTimeIsUpIsGivenUp) {
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
  ASSERT_EQ(posts.size(), 1u);
  EXPECT_NE(posts[0].body.find("once"), std::string::npos);
}

TEST(SqmctlPlayUpload, OneThatWasGivenUpDoesNotDisturbTheNext) {
  // Each kind of upload after a hanging one of each kind.
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
  ASSERT_EQ(posts.size(), 3u);
  EXPECT_NE(posts[0].body.find(",\"7\"\n"), std::string::npos) << posts[0].body;
  EXPECT_EQ(posts[1].body, "");
  EXPECT_EQ(posts[2].body, "");
  EXPECT_TRUE(std::filesystem::is_empty(played.home() + "/a/b"));
  EXPECT_FALSE(std::filesystem::exists(played.home() + "/missing"));
  EXPECT_EQ(played.err().rfind("Path :sqm\n", 0), 0u) << "the library's console is standard error: " << played.err();
}

TEST(SqmctlPlayUpload, AFolderThatCannotBeSentStays) {
  const Played played(R"({"do":"collector.directory","path":"a"}
{"do":"collector.save"}
{"do":"directory.upload","path":"a","url":")" +
                      nobody() + R"("}
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
  EXPECT_EQ(posts.at(2).body, "third");
  EXPECT_NE(played.log("UploadData.log").find("QFRecordUploader :: quequeRecord- saved URL:"), std::string::npos);
}

TEST(SqmctlPlayUpload, TheQueueOutlivesTheRun) {
  const Collector collector;
  Played played(with(nobody(), R"({"do":"queue.add","data":"a","url":"$/"}
{"do":"queue.upload"}
)") + with(collector.address(), R"({"do":"queue.add","data":"b","url":"$/b"}
{"do":"restart"}
)"));
  EXPECT_EQ(played.result(2), R"({"remaining":1})");
  played.play("{\"do\":\"queue.upload\",\"timeoutSeconds\":5}\n");
  EXPECT_EQ(played.result(1), R"({"remaining":2})") << "the first holds up those behind it";
  EXPECT_EQ(postsTo(collector).size(), 0u);
}

}  // namespace
