// What one database has is copied to another of the same or another engine, also when the copying is interrupted.

#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Programs.h"
#include "tests/tools/storage/Arrivals.h"
#include "tests/tools/storage/Engine.h"

namespace {

using namespace collector;

class MigrationTest : public testing::Test {
 protected:
  std::vector<std::string> command() const {
    return {kPrograms + "/sqm-collector", "migrate", "--from", source, "--to", engine->address()};
  }

  void fill(int requests) const {
    const auto storage = openStorage({.database = source});
    for (int i = 0; i < requests; ++i) {
      const std::string number = std::to_string(i);
      add(*storage, documentOf({plainRecord(number), plainRecord("again"), knownRecord("c", number)}),
          i % 100 < 50 ? "2026-11-21T10:00:00.000Z" : "2026-11-22T10:00:00.000Z");
    }
  }

  void expectAll() const {
    const auto from = openStorage({.database = source});
    const auto to = engine->open();
    EXPECT_EQ(recordsOf(*to), recordsOf(*from));
    const auto requests = requestsOf(*from);
    const auto copies = requestsOf(*to);
    ASSERT_EQ(copies.size(), requests.size());
    for (std::size_t i = 0; i < copies.size(); ++i) {
      EXPECT_EQ(copies[i].time, requests[i].time);
      EXPECT_EQ(copies[i].duplicates, requests[i].duplicates);
      EXPECT_EQ(to->body(copies[i].id), from->body(requests[i].id));
    }
  }

  const TemporaryFolder folder;
  const std::string source = folder / "source.db";
  const std::unique_ptr<Engine> engine = makeEngine();
};

TEST_F(MigrationTest, CopiesEveryRequestOnce) {
  fill(120);
  for (int run = 0; run < 2; ++run) {
    const Outcome outcome = runProgram(command());
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    expectAll();
  }
  fill(130);
  EXPECT_EQ(runProgram(command()).status, 0);
  expectAll();
}

TEST_F(MigrationTest, GoesOnWhereItWasKilled) {
  fill(1000);
  bool isKilled = true;
  int kills = 0;
  while (isKilled) {
    tools::Process copying(command(), /*readsOutput=*/true);
    copying.readLine();
    copying.readLine();
    copying.kill();
    const int status = copying.wait();
    isKilled = status == 128 + SIGKILL;
    ASSERT_TRUE(isKilled || status == 0) << status;
    kills += isKilled ? 1 : 0;
  }
  EXPECT_GT(kills, 1);
  expectAll();
}

TEST_F(MigrationTest, OfAFileThatIsNotThereIsAFailure) {
  const Outcome outcome = runProgram(command());
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("source.db"), std::string::npos) << outcome.err;
}

}  // namespace
