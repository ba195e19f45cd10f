// libsqm-objc.so as programs use it, and the same scenario from C++ and from Objective-C.

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tests/support/Paths.h"
#include "tests/support/Patience.h"
#include "tests/support/Programs.h"

namespace {

bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

/// What was posted: path and body, the oldest first.
std::vector<std::pair<std::string, std::string>> postsTo(const Collector& collector) {
  httplib::Client client(collector.address());
  client.set_read_timeout(kPatience);
  std::map<std::int64_t, std::pair<std::string, std::string>> posts;
  for (const auto& request : nlohmann::json::parse(client.Get("/_requests")->body)) {
    const auto id = request.at("id").get<std::int64_t>();
    const auto body = client.Get("/_requests/" + std::to_string(id) + "/body");
    posts[id] = {request.at("path").get<std::string>(), body->body};
  }
  std::vector<std::pair<std::string, std::string>> inOrder;
  inOrder.reserve(posts.size());
  for (auto& [id, post] : posts) inOrder.push_back(std::move(post));
  return inOrder;
}

/// The files below a folder, by path. Lines of logs are without their times, and durations are 0.
std::map<std::string, std::string> filesBelow(const std::string& folder) {
  static const std::regex kTimes(R"((^|\n)\d{4}-\d\d-\d\dT[\d:.]+Z )");
  static const std::regex kDurations(R"(\d+ ms)");
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (!entry.is_regular_file()) continue;
    std::string content = contentOf(entry.path());
    if (entry.path().string().find(".log") != std::string::npos) {
      content = std::regex_replace(std::regex_replace(content, kTimes, "$1"), kDurations, "0 ms");
    }
    files[std::filesystem::relative(entry.path(), folder)] = content;
  }
  return files;
}

TEST(ObjcScenario, HasTheSameResultsBodiesAndFilesAsFromCpp) {
  const Collector collector;
  const std::string resources = paths::sources() + "/examples";
  const TemporaryFolder homes[2];
  const std::string programs[2] = {kPrograms + "/objc_scenario_cpp", kPrograms + "/objc_scenario"};
  Outcome runs[2];
  for (int at = 0; at < 2; ++at) {
    runs[at] = runProgram({programs[at], homes[at].path(), resources, collector.address()});
    ASSERT_EQ(runs[at].status, 0) << runs[at].err;
  }
  EXPECT_EQ(runs[1].out, runs[0].out);
  EXPECT_TRUE(holds(runs[0].out, "notified: TrelkSQMUploadSuccess\n")) << runs[0].out;
  EXPECT_TRUE(holds(runs[0].out, "notified: TrelkSQMUploadComplete\n")) << runs[0].out;

  const auto posts = postsTo(collector);
  ASSERT_EQ(posts.size() % 2, 0U);
  const auto half = posts.begin() + static_cast<std::ptrdiff_t>(posts.size() / 2);
  EXPECT_EQ(std::vector(half, posts.end()), std::vector(posts.begin(), half));
  EXPECT_EQ(posts.size(), 16U) << "five lists, a folder and two requests of the queue, twice";

  const auto files = filesBelow(homes[0].path());
  EXPECT_EQ(filesBelow(homes[1].path()), files);
  EXPECT_GE(files.size(), 10U);
}

TEST(ObjcLibrary, ShowsItsOwnNamesAndNothingElse) {
  const Outcome names =
      runProgram({"/usr/bin/nm", "-D", "--defined-only", "--format=posix", paths::build() + "/lib/libsqm-objc.so"});
  ASSERT_EQ(names.status, 0) << names.err;
  static const std::regex kOwn(
      R"((__objc_class_name_|_OBJC_)\w+|TrelkSQMUpload\w+|kQFRecordData|NsqmRecType|NSSQMFields|NSSqmError)");
  std::istringstream lines(names.out);
  std::size_t count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    EXPECT_TRUE(std::regex_match(line.substr(0, line.find(' ')), kOwn)) << line;
  }
  EXPECT_GT(count, 30U);
}

TEST(ObjcPage, ShowsTheFirstProgramAsItIs) {
  const std::string program = contentOf(paths::sources() + "/examples/objc/01_first_record.m");
  ASSERT_FALSE(program.empty());
  EXPECT_TRUE(holds(contentOf(paths::sources() + "/docs/objc.md"), "```objc\n" + program + "```"));
}

TEST(ObjcProgram, RecordsUploadsAndReadsTheOutcome) {
  const TemporaryFolder home;
  const Collector collector;
  const Outcome run =
      runProgram({"/usr/bin/env", "HOME=" + home.path(), kPrograms + "/objc_01_first_record", collector.address()});
  EXPECT_EQ(run.status, 0) << run.err;
  const auto posts = postsTo(collector);
  ASSERT_EQ(posts.size(), 1U);
  EXPECT_EQ(posts[0].first, "/connection");
  EXPECT_TRUE(holds(posts[0].second, "<ssid>Café &amp; Bar</ssid>"));
}

}  // namespace
