// sqmctl play: the examples of docs/scenarios.md, the sample scenario, and one whose whole output and files are
// compared.

#include <filesystem>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/Golden.h"
#include "tests/support/Paths.h"
#include "tests/tools/Play.h"

namespace {

namespace fs = std::filesystem;

const std::string kSources = paths::sources();
const std::string kGolden = paths::golden() + "/play";

/// The part of docs/scenarios.md between two texts.
std::string documented(const std::string& after, const std::string& before) {
  const std::string page = contentOf(kSources + "/docs/scenarios.md");
  const std::size_t begin = page.find(after) + after.size();
  const std::size_t end = page.find(before, begin);
  if (begin < after.size() || end == std::string::npos) return "not documented";
  return page.substr(begin, end - begin);
}

std::string replaced(std::string text, const std::string& from, const std::string& to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

/// The files in a folder by their relative paths, without the logs.
std::map<std::string, std::string> filesBelow(const std::string& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const std::string path = fs::relative(entry.path(), folder);
    if (entry.is_regular_file() && path.rfind("Library/Logs/", 0) != 0) files[path] = contentOf(entry.path());
  }
  return files;
}

TEST(SqmctlPlayDocs, TheFirstExampleDoesWhatThePageSays) {
  const Collector collector;
  const Played played(
      replaced(documented("$ cat hello.jsonl\n", "$ sqmctl"), "http://127.0.0.1:8080", collector.address()));
  EXPECT_EQ(played.out(), documented("play hello.jsonl\n", "```"));
}

TEST(SqmctlPlayDocs, TheFaultyExampleGetsTheMessagesOfThePage) {
  const Played played(documented("$ cat faulty.jsonl\n", "$ sqmctl"));
  EXPECT_EQ(replaced(played.err(), "-:", "faulty.jsonl:"), documented("play faulty.jsonl\n", "```"));
  EXPECT_EQ(played.status(), 2);
}

TEST(SqmctlPlayDocs, TheSampleIsPlayed) {
  const Collector collector;
  const std::string sample = contentOf(kSources + "/examples/session.jsonl");
  ASSERT_NE(sample.find("http://127.0.0.1:8080/"), std::string::npos);
  const Played played(replaced(sample, "http://127.0.0.1:8080", collector.address()),
                      {"--time", "2026-11-21T09:30:00Z"});
  EXPECT_EQ(played.status(), 0) << played.err();
  // The records, the files and the queue have arrived.
  EXPECT_NE(played.out().find(
                R"("do":"upload","result":{"notifications":["TrelkSQMUploadSuccess","TrelkSQMUploadSuccess"]}})"),
            std::string::npos)
      << played.out();
  EXPECT_NE(
      played.out().find(R"("do":"directory.upload","result":{"status":4,"notifications":["TrelkSQMUploadComplete"]}})"),
      std::string::npos)
      << played.out();
  EXPECT_NE(played.out().find(R"("do":"queue.upload","result":{"remaining":0}})"), std::string::npos) << played.out();
}

TEST(SqmctlPlayDocs, AFixedEnvironmentGivesTheSameEveryTime) {
  const Played played(contentOf(kGolden + "/scenario.jsonl"),
                      {"--time", "2026-11-21T10:00:00", "--zone", "Europe/Berlin", "--locale", "fr_FR", "--os",
                       "Test OS", "--os-version", "10.8.2"});
  EXPECT_EQ(played.status(), 0);
  EXPECT_EQ(played.err(), "");
  expectGoldenFile(played.out(), "play/output.jsonl");
  const auto files = filesBelow(played.home());
  for (const auto& [path, content] : files) expectGoldenFile(content, "play/home/" + path);
  EXPECT_EQ(files, filesBelow(kGolden + "/home"));
}

}  // namespace
