// Runs the built programs as a newcomer would.

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <httplib.h>
#include <nlohmann/json.hpp>

#include "tests/support/Paths.h"
#include "tests/support/Patience.h"
#include "tests/support/Programs.h"
#include "tools/support/ReservedPort.h"

namespace {

namespace fs = std::filesystem;

using tools::Process;

const std::string kSources = paths::sources();

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
  client.set_read_timeout(kPatience);
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
  ASSERT_EQ(posts.size(), 1U);
  EXPECT_EQ(posts[0].path, "/connection");
  EXPECT_EQ(timesIn(posts[0].body, "<ssid>Café &amp; Bar</ssid>"), 2U);
  EXPECT_NE(listFile(home.path(), "SQMConnection.plist").find("<array/>"), std::string::npos);
}

TEST(FirstRecord, IsKeptWhileNoServerAnswers) {
  const TemporaryFolder home;
  const tools::ReservedPort nobody;

  ASSERT_EQ(run({"/usr/bin/env", "HOME=" + home.path(), kPrograms + "/01_first_record", nobody.address()}), 0);

  EXPECT_EQ(timesIn(listFile(home.path(), "SQMConnection.plist"), "<string>"), 2U);
}

TEST(LaptopDay, IsUploadedByTheNextProcess) {
  const TemporaryFolder home;
  const Collector collector;

  ASSERT_EQ(run({kPrograms + "/02_laptop_day", home.path()}), 0);
  EXPECT_EQ(timesIn(listFile(home.path(), "SQMConnection.plist"), "<string>"), 6U);
  EXPECT_EQ(timesIn(listFile(home.path(), "SQMApplication.plist"), "<string>"), 2U) << "one session is filtered out";
  ASSERT_EQ(run({kPrograms + "/03_upload", home.path(), collector.address()}), 0);

  std::vector<std::string> paths;
  for (const auto& post : postsTo(collector)) paths.push_back(post.path);
  EXPECT_EQ(paths, (std::vector<std::string>{"/client", "/connection", "/device", "/application", "/user-acceptance"}));
  for (const char* file : {"SQMClient.plist", "SQMConnection.plist", "SQMDevice.plist", "SQMApplication.plist",
                           "SQMUserAcceptance.plist"}) {
    EXPECT_EQ(timesIn(listFile(home.path(), file), "<string>"), 0U) << file;
  }
}

TEST(Upload, FailsWhenNoServerAnswers) {
  const TemporaryFolder home;
  const tools::ReservedPort nobody;
  ASSERT_EQ(run({kPrograms + "/02_laptop_day", home.path()}), 0);

  EXPECT_EQ(run({kPrograms + "/03_upload", home.path(), nobody.address()}), 1);

  EXPECT_EQ(timesIn(listFile(home.path(), "SQMClient.plist"), "<string>"), 1U);
}

/// The `.sqm` files below a home directory.
std::vector<std::string> sqmFiles(const std::string& home) {
  std::vector<std::string> found;
  for (const auto& entry : fs::directory_iterator(home + "/Library/Application Support/Trelk/Trelk Quenfa/SQM")) {
    if (entry.path().extension() == ".sqm") found.push_back(entry.path());
  }
  return found;
}

TEST(SqmFiles, AreSavedPostedAndDeleted) {
  const TemporaryFolder home;
  const Collector collector;

  ASSERT_EQ(runProgram({kPrograms + "/04_sqm_files", home.path()}).status, 0);
  ASSERT_EQ(sqmFiles(home.path()).size(), 1U);
  const std::string line = contentOf(sqmFiles(home.path()).front());
  EXPECT_EQ(timesIn(line, "\",\""), 85U);
  EXPECT_EQ(timesIn(line, "\"Café Mitte\""), 2U);

  const Outcome upload = runProgram({kPrograms + "/04_sqm_files", home.path(), collector.address()});
  EXPECT_EQ(upload.status, 0);
  EXPECT_EQ(upload.out, "  status 0: never started\n  status 2: sending\n  status 4: completed\n");
  EXPECT_EQ(timesIn(upload.err, "file deleted:"), 1U);

  const auto posts = postsTo(collector);
  ASSERT_EQ(posts.size(), 1U);
  EXPECT_EQ(posts[0].path, "/sqm");
  EXPECT_EQ(posts[0].body, line);
  EXPECT_TRUE(sqmFiles(home.path()).empty());
}

TEST(SqmFiles, StayWhenNoServerAnswers) {
  const TemporaryFolder home;
  std::string address;
  {
    Collector collector;
    address = collector.address();
    ASSERT_EQ(collector.end(), 0);
  }
  ASSERT_EQ(runProgram({kPrograms + "/04_sqm_files", home.path()}).status, 0);

  const Outcome upload = runProgram({kPrograms + "/04_sqm_files", home.path(), address});
  EXPECT_EQ(upload.status, 1);
  EXPECT_EQ(upload.out,
            "  status 0: never started\n  status 2: sending\n  status 3: failed; the files stay for the next time\n");
  EXPECT_EQ(sqmFiles(home.path()).size(), 1U);
}

TEST(SqmFiles, FailsWithAWordOnItsUseOrWhereItCannotSave) {
  EXPECT_EQ(runProgram({kPrograms + "/04_sqm_files"}).status, 2);
  EXPECT_EQ(runProgram({kPrograms + "/04_sqm_files", "/dev/null"}).status, 1);
}

TEST(UploadQueue, IsSentByTheProcessAfterTheKilledOne) {
  const TemporaryFolder home;
  const tools::ReservedPort port;
  const std::string example = kPrograms + "/05_upload_queue";
  const Outcome killed = runProgram({example, home.path(), "queue", port.address()});
  EXPECT_EQ(killed.status, 128 + SIGKILL);
  EXPECT_EQ(killed.out, "  queued 3 requests, and tried to send them: 3 wait\n");
  EXPECT_EQ(run({example, home.path(), "send"}), 1) << "nobody answers yet";

  const Collector collector({}, port.number());
  const Outcome next = runProgram({example, home.path(), "send"});
  EXPECT_EQ(next.status, 0);
  EXPECT_EQ(next.out, "  3 requests wait\n  0 are left\n");
  std::vector<std::string> sent;
  for (const auto& post : postsTo(collector)) sent.push_back(post.path + " " + post.body);
  EXPECT_EQ(sent,
            (std::vector<std::string>{"/queue 09:31 the portal's page does not load",
                                      "/queue 09:40 the tunnel went down", "/queue 09:41 the tunnel is up again"}));
}

TEST(UploadQueue, SaysHowItIsUsed) {
  const TemporaryFolder home;
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{},
                                                    {home.path()},
                                                    {home.path(), "queue"},
                                                    {home.path(), "send", "x"},
                                                    {home.path(), "x"}}) {
    std::vector<std::string> command = {kPrograms + "/05_upload_queue"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const Outcome outcome = runProgram(command);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.err.rfind("usage: ", 0), 0U) << outcome.err;
  }
  EXPECT_TRUE(home.names().empty());
}

TEST(Diagnostics, ReportIsReadWithBase64AndGunzip) {
  const Outcome report = runProgram({kPrograms + "/06_diagnostics"});
  EXPECT_EQ(report.status, 0);
  const Outcome decoded = runProgram({"/bin/sh", "-c", "base64 -d | gunzip"}, report.out);
  EXPECT_EQ(decoded.status, 0);
  const auto trace = nlohmann::json::parse(decoded.out).at("Trace");
  EXPECT_EQ(trace.at("Link").at("SSID"), "Café & Bar");
  EXPECT_EQ(trace.at("Ravix").at("UA"), "ConnectivityClient/4.2") << "it outlives the reset of the probe";
  EXPECT_EQ(trace.at("Auth").at("Dis"), R"(["Portal found"])");
  EXPECT_EQ(nlohmann::json::parse(trace.at("Auth").at("LoginPoll").get<std::string>()).size(), 3U);
  EXPECT_EQ(trace.at("Error").at("Details"), "Timeout");
}

TEST(ReservedPort, RefusesUntilAServerListens) {
  const tools::ReservedPort port;
  EXPECT_FALSE(httplib::Client(port.address()).Get("/_requests"));
  const Collector collector({}, port.number());
  EXPECT_EQ(collector.address(), port.address());
  EXPECT_TRUE(httplib::Client(port.address()).Get("/_requests"));
}

TEST(Demo, SaysThatEverythingArrived) {
  Process demo({kPrograms + "/sqm-demo"}, /*readsOutput=*/true);
  std::string last;
  for (std::string line = demo.readLine(); !demo.isAtEnd(); line = demo.readLine()) last = line;
  EXPECT_EQ(demo.wait(), 0);
  EXPECT_EQ(
      last,
      "Everything that was stored arrived, in 7 posts, and nothing else did (refused, kept and sent again: 1 post).");
}

TEST(Demo, FailsWithoutItsPrograms) {
  const TemporaryFolder elsewhere;
  fs::copy_file(kPrograms + "/sqm-demo", elsewhere.path() + "/sqm-demo");
  EXPECT_EQ(run({elsewhere.path() + "/sqm-demo"}), 1);
}

}  // namespace
