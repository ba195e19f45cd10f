// libsqm.so as programs in other languages use it: the built library, a C program, a Python script.

#include <iterator>
#include <sstream>
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

const std::string kLibrary = paths::build() + "/lib/libsqm.so";

/// The first body that was posted to this path.
std::string bodyOf(const Collector& collector, const std::string& path) {
  httplib::Client client(collector.address());
  client.set_read_timeout(kPatience);
  for (const auto& request : nlohmann::json::parse(client.Get("/_requests")->body)) {
    if (request.at("path") == path) return client.Get("/_requests/" + request.at("id").dump() + "/body")->body;
  }
  return "";
}

bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

TEST(CLibrary, ShowsItsOwnNamesAndNothingElse) {
  const Outcome names = runProgram({"/usr/bin/nm", "-D", "--defined-only", "--format=posix", kLibrary});
  ASSERT_EQ(names.status, 0) << names.err;
  std::istringstream lines(names.out);
  std::size_t count = 0;
  for (std::string line; std::getline(lines, line); ++count) EXPECT_EQ(line.rfind("sqm_", 0), 0U) << line;
  EXPECT_GT(count, 100U);
}

TEST(CLibrary, HasAVersionInItsName) {
  const Outcome dynamic = runProgram({"/usr/bin/readelf", "-d", kLibrary});
  EXPECT_TRUE(holds(dynamic.out, "soname: [libsqm.so.0]")) << dynamic.out;
}

TEST(CPage, ShowsTheFirstProgramAsItIs) {
  const std::string program = contentOf(paths::sources() + "/examples/c/01_first_record.c");
  ASSERT_FALSE(program.empty());
  EXPECT_TRUE(holds(contentOf(paths::sources() + "/docs/c.md"), "```c\n" + program + "```"));
}

TEST(CProgram, RecordsUploadsAndReadsTheOutcome) {
  const TemporaryFolder home;
  const Collector collector;
  const Outcome run =
      runProgram({"/usr/bin/env", "HOME=" + home.path(), kPrograms + "/c_01_first_record", collector.address()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_TRUE(holds(bodyOf(collector, "/connection"), "<ssid>Café &amp; Bar</ssid>"));
}

TEST(CProgram, CallsEveryGroupOfTheLibrary) {
  const TemporaryFolder home;
  const Outcome run = runProgram({kPrograms + "/c_every_group", home.path(), paths::sources() + "/examples"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "faults: 0\n");
}

TEST(CProgram, RunsOnAnEventLoopOfItsOwn) {
  const TemporaryFolder home;
  const Collector collector;
  const Outcome run = runProgram({kPrograms + "/c_02_own_loop", home.path(), collector.address()}, "Net A\nNet <B>\n");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "  recorded: Net A\n  recorded: Net <B>\n  delivered: 1, kept: 0\n");
  const std::string body = bodyOf(collector, "/connection");
  EXPECT_TRUE(holds(body, "<ssid>Net A</ssid>"));
  EXPECT_TRUE(holds(body, "<ssid>Net &lt;B&gt;</ssid>"));
}

TEST(CProgram, KeepsItsRecordsWhileNobodyAnswers) {
  const TemporaryFolder home;
  const tools::ReservedPort nobody;
  const Outcome run = runProgram({kPrograms + "/c_02_own_loop", home.path(), nobody.address()}, "Net\n");
  EXPECT_EQ(run.status, 1);
  EXPECT_TRUE(holds(run.out, "  kept: ")) << run.out;
  EXPECT_TRUE(holds(contentOf(home / "Library/Application Support/Trelk/Trelk Quenfa/SQM/SQMConnection.plist"), "Net"));
  EXPECT_EQ(runProgram({kPrograms + "/c_02_own_loop"}).status, 2);
}

/// The programs on the event loops of others: each is built where its library is installed.
std::vector<std::string> builtLoops() {
  std::istringstream names(SQM_LOOPS);
  return {std::istream_iterator<std::string>(names), {}};
}

class OnTheLoopOf : public testing::TestWithParam<std::string> {
 protected:
  const std::string program = kPrograms + "/c_" + GetParam();
};

TEST_P(OnTheLoopOf, RecordsAndUploads) {
  const TemporaryFolder home;
  const Collector collector;
  const Outcome run = runProgram({program, home.path(), collector.address()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "  delivered\n");
  EXPECT_TRUE(holds(bodyOf(collector, "/connection"), "<connection"));
}

TEST_P(OnTheLoopOf, KeepsTheRecordWhileNobodyAnswers) {
  const TemporaryFolder home;
  const tools::ReservedPort nobody;
  const Outcome run = runProgram({program, home.path(), nobody.address()});
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_EQ(run.out, "  kept\n");
  EXPECT_EQ(runProgram({program}).status, 2);
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(OnTheLoopOf);
INSTANTIATE_TEST_SUITE_P(, OnTheLoopOf, testing::ValuesIn(builtLoops()), [](const auto& each) { return each.param; });

TEST(PythonScript, RecordsUploadsAndReadsTheOutcome) {
  const TemporaryFolder home;
  const Collector collector;
  // Python is built without the sanitizers. What it holds at its end is its own.
  const Outcome run = runProgram({"/usr/bin/env", "LD_PRELOAD=" SQM_SANITIZERS, "LSAN_OPTIONS=detect_leaks=0",
                                  "python3", paths::sources() + "/tests/consumer/first_record.py", kLibrary,
                                  paths::sources() + "/examples", home.path(), collector.address()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.out, "invalid argument: the key is outside 1 to 91\ndelivered with status 200\n");
  EXPECT_TRUE(holds(bodyOf(collector, "/connection"), "<ssid>Café &amp; Bar</ssid>"));
}

}  // namespace
