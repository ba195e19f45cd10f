// Runs the built programs as a newcomer would.

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tools/support/Process.h"
#include "tools/support/TemporaryFolder.h"

namespace {

namespace fs = std::filesystem;

using tools::Process;
using tools::TemporaryFolder;

const std::string kPrograms = SQM_PROGRAM_DIR;
const std::string kSources = SQM_SOURCE_DIR;

std::string contentsOf(const fs::path& file) {
  std::ostringstream contents;
  contents << std::ifstream(file).rdbuf();
  return contents.str();
}

std::size_t timesIn(const std::string& text, const std::string& part) {
  std::size_t times = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++times;
  return times;
}

int run(const std::vector<std::string>& arguments) { return Process(arguments, /*readsOutput=*/false).wait(); }

/// The collection server, on a port of its own.
class Collector {
 public:
  struct Post {
    std::string path;
    std::string body;
  };

  Collector() : process_({kPrograms + "/sqm-collector", "--port", "0", "--quiet"}, /*readsOutput=*/true) {
    address_ = process_.readLine();
    address_.pop_back();  // the slash at the end
  }

  const std::string& address() const { return address_; }

  std::vector<Post> posts() const {
    httplib::Client client(address_);
    std::vector<Post> posts;
    for (const auto& request : nlohmann::json::parse(client.Get("/_requests")->body)) {
      posts.push_back({request.at("path"), client.Get("/_requests/" + request.at("id").dump())->body});
    }
    return posts;
  }

  int end() {
    process_.terminate();
    return process_.wait();
  }

 private:
  Process process_;
  std::string address_;
};

std::string listFile(const std::string& home, const std::string& name) {
  return contentsOf(home + "/Library/Application Support/Trelk/Trelk Quenfa/SQM/" + name);
}

TEST(Readme, ShowsTheFirstExampleAsItIs) {
  const std::string readme = contentsOf(kSources + "/README.md");
  const std::string example = contentsOf(kSources + "/examples/01_first_record.cpp");
  ASSERT_FALSE(example.empty());
  EXPECT_NE(readme.find("```cpp\n" + example + "```"), std::string::npos);
}

TEST(FirstRecord, ArrivesAtTheCollector) {
  const TemporaryFolder home;
  const Collector collector;

  ASSERT_EQ(run({"/usr/bin/env", "HOME=" + home.path(), kPrograms + "/01_first_record", collector.address()}), 0);

  const auto posts = collector.posts();
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
  for (const auto& post : collector.posts()) paths.push_back(post.path);
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
