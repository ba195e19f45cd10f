// Runs the built programs as a newcomer would.

#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tests/support/Programs.h"

namespace {

namespace fs = std::filesystem;

using tools::Process;

const std::string kSources = SQM_SOURCE_DIR;

std::size_t timesIn(const std::string& text, const std::string& part) {
  std::size_t times = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++times;
  return times;
}

int run(const std::vector<std::string>& arguments) { return Process(arguments, /*readsOutput=*/false).wait(); }

struct Post {
  std::string path;
  std::string body;
};

std::vector<Post> postsTo(const Collector& collector) {
  httplib::Client client(collector.address());
  std::vector<Post> posts;
  for (const auto& request : nlohmann::json::parse(client.Get("/_requests")->body)) {
    posts.push_back({request.at("path"), client.Get("/_requests/" + request.at("id").dump() + "/body")->body});
  }
  return posts;
}

std::string listFile(const std::string& home, const std::string& name) {
  return contentOf(home + "/Library/Application Support/Trelk/Trelk Quenfa/SQM/" + name);
}

TEST(Readme, ShowsTheFirstExampleAsItIs) {
  const std::string readme = contentOf(kSources + "/README.md");
  const std::string example = contentOf(kSources + "/examples/01_first_record.cpp");
  ASSERT_FALSE(example.empty());
  EXPECT_NE(readme.find("```cpp\n" + example + "```"), std::string::npos);
}

TEST(FirstRecord, ArrivesAtTheCollector) {
  const TemporaryFolder home;
  const Collector collector;

  ASSERT_EQ(run({"/usr/bin/env", "HOME=" + home.path(), kPrograms + "/01_first_record", collector.address()}), 0);

  const auto posts = postsTo(collector);
  ASSERT_EQ(posts.size(), 1u);
  EXPECT_EQ(posts[0].path, "/connection");
  EXPECT_EQ(timesIn(posts[0].body, "<ssid>Café &amp; Bar</ssid>"), 2u);
  EXPECT_NE(listFile(home.path(), "SQMConnection.plist").find("<array/>"), std::string::npos);
}

TEST(FirstRecord, IsKeptWhileNoServerAnswers) {
  const TemporaryFolder home;
  std::string address;
  {
    Collector collector;
    address = collector.address();
    ASSERT_EQ(collector.end(), 0);
  }

  ASSERT_EQ(run({"/usr/bin/env", "HOME=" + home.path(), kPrograms + "/01_first_record", address}), 0);

  EXPECT_EQ(timesIn(listFile(home.path(), "SQMConnection.plist"), "<string>"), 2u);
}

TEST(LaptopDay, IsUploadedByTheNextProcess) {
  const TemporaryFolder home;
  const Collector collector;

  ASSERT_EQ(run({kPrograms + "/02_laptop_day", home.path()}), 0);
  EXPECT_EQ(timesIn(listFile(home.path(), "SQMConnection.plist"), "<string>"), 6u);
  EXPECT_EQ(timesIn(listFile(home.path(), "SQMApplication.plist"), "<string>"), 2u) << "one session is filtered out";
  ASSERT_EQ(run({kPrograms + "/03_upload", home.path(), collector.address()}), 0);

  std::vector<std::string> paths;
  for (const auto& post : postsTo(collector)) paths.push_back(post.path);
  EXPECT_EQ(paths, (std::vector<std::string>{"/client", "/connection", "/device", "/application", "/user-acceptance"}));
  for (const char* file : {"SQMClient.plist", "SQMConnection.plist", "SQMDevice.plist", "SQMApplication.plist",
                           "SQMUserAcceptance.plist"}) {
    EXPECT_EQ(timesIn(listFile(home.path(), file), "<string>"), 0u) << file;
  }
}

TEST(Upload, FailsWhenNoServerAnswers) {
  const TemporaryFolder home;
  std::string address;
  {
    Collector collector;
    address = collector.address();
    ASSERT_EQ(collector.end(), 0);
  }
  ASSERT_EQ(run({kPrograms + "/02_laptop_day", home.path()}), 0);

  EXPECT_EQ(run({kPrograms + "/03_upload", home.path(), address}), 1);

  EXPECT_EQ(timesIn(listFile(home.path(), "SQMClient.plist"), "<string>"), 1u);
}

TEST(Demo, SaysThatEverythingArrived) {
  Process demo({kPrograms + "/sqm-demo"}, /*readsOutput=*/true);
  std::string last;
  for (std::string line = demo.readLine(); !demo.isAtEnd(); line = demo.readLine()) last = line;
  EXPECT_EQ(demo.wait(), 0);
  EXPECT_EQ(last, "Everything that was stored arrived, in 5 posts, and nothing else did.");
}

TEST(Demo, FailsWithoutItsPrograms) {
  const TemporaryFolder elsewhere;
  fs::copy_file(kPrograms + "/sqm-demo", elsewhere.path() + "/sqm-demo");
  EXPECT_EQ(run({elsewhere.path() + "/sqm-demo"}), 1);
}

}  // namespace
