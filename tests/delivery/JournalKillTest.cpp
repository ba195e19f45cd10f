#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/platform/files/FileOperations.h"

#include "tests/delivery/JournalProcess.h"
#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/AskedNumber.h"
#include "tests/support/TemporaryFolder.h"

// A process with a journal that is killed, on real files. It is a child of the test, and writes one byte to a pipe for
// each step that is done.

namespace sqm::delivery {
namespace {

using platform::test::Fault;
using platform::test::FaultyFileOperations;
using test::expected;
using test::Process;
using test::steps;

/// In memory, where a sync takes no time: what it is for cannot be seen after a kill.
struct Folder : TemporaryFolder {
  Folder() : TemporaryFolder("/dev/shm") {}
};

/// The path of the home folder, with the one of the lists in it.
std::string homeIn(const TemporaryFolder& folder) {
  const std::string home = folder / "home";
  const testing::FixedConfiguration configuration;
  std::string below = sqmFolderPath(configuration).substr(configuration.home.size());
  EXPECT_FALSE(platform::makeFolders(platform::FileOperations::posix(), home + below));
  return home;
}

struct Killed {
  std::size_t done = 0;  ///< steps
  bool wasKilled = false;
};

/// Runs the steps in a child, and kills it after `patience` unless the fault does.
Killed runChild(const std::string& home, bool synced, Fault fault, std::chrono::microseconds patience) {
  int ends[2];
  EXPECT_EQ(::pipe(ends), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    ::close(ends[0]);
    FaultyFileOperations files(fault);
    {
      Process process(files, synced, home);
      for (const auto& step : steps()) {
        process.make(step);
        if (::write(ends[1], "s", 1) != 1) ::_exit(2);
      }
    }
    ::_exit(0);
  }
  ::close(ends[1]);
  if (patience.count() > 0) {
    std::this_thread::sleep_for(patience);
    ::kill(child, SIGKILL);
  }
  Killed killed;
  for (char word = 0; ::read(ends[0], &word, 1) == 1;) ++killed.done;
  ::close(ends[0]);
  int status = 0;
  ::waitpid(child, &status, 0);
  killed.wasKilled = WIFSIGNALED(status);
  return killed;
}

void expectWhatWasDone(const std::string& home, bool synced, std::size_t done, const std::string& where) {
  Process next(platform::FileOperations::posix(), synced, home);
  const auto contents = next.contents();
  EXPECT_TRUE(contents == expected()[done] || (done < steps().size() && contents == expected()[done + 1])) << where;
}

class JournalKill : public ::testing::TestWithParam<bool> {};

/// The names of the file operations of a child that is not killed.
std::vector<std::string> callsOf(bool synced) {
  const Folder folder;
  const std::string home = homeIn(folder);
  FaultyFileOperations files;
  Process process(files, synced, home);
  for (const auto& step : steps()) process.make(step);
  return files.calls();
}

TEST_P(JournalKill, AtAnyFileOperationLosesNothing) {
  const std::vector<std::string> calls = callsOf(GetParam());
  std::size_t kills = 0;
  const auto kill = [&](Fault fault) {
    const Folder folder;
    const std::string home = homeIn(folder);
    const Killed killed = runChild(home, GetParam(), fault, {});
    EXPECT_TRUE(killed.wasKilled);
    ++kills;
    expectWhatWasDone(home, GetParam(), killed.done, "call " + std::to_string(fault.call));
  };
  for (std::size_t call = 1; call <= calls.size(); ++call) {
    kill({.kind = Fault::Kind::killsBefore, .call = call});
    if (calls[call - 1] == "write") kill({.kind = Fault::Kind::killsHalfway, .call = call});
  }
  std::printf("%zu kills, none of which lost or doubled a record\n", kills);
}

TEST_P(JournalKill, AtARandomMomentLosesNothing) {
  const std::size_t rounds = askedNumber("SQM_KILLS", 100);
  std::minstd_rand random(7);
  int kills = 0;
  for (std::size_t round = 0; round < rounds; ++round) {
    const Folder folder;
    const std::string home = homeIn(folder);
    const std::chrono::microseconds patience(1 + random() % 2500);
    const Killed killed = runChild(home, GetParam(), {}, patience);
    kills += killed.wasKilled ? 1 : 0;
    expectWhatWasDone(home, GetParam(), killed.done, "round " + std::to_string(round));
  }
  EXPECT_GT(kills, 0);
  std::printf("%d kills at random moments, none of which lost or doubled a record\n", kills);
}

INSTANTIATE_TEST_SUITE_P(Journal, JournalKill, ::testing::Bool(),
                         [](const auto& each) { return each.param ? "Synced" : "Unsynced"; });

}  // namespace
}  // namespace sqm::delivery
