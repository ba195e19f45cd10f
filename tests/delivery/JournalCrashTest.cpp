#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "tests/delivery/JournalProcess.h"
#include "tests/support/ForgetfulFiles.h"

// Every end of a process with a journal: at each operation on its files, by the end of the process or a loss of power.

namespace sqm::delivery {
namespace {

using platform::test::ForgetfulFiles;
using test::Contents;
using test::expected;
using test::Process;
using test::Step;
using test::steps;

/// Runs the steps until the disk is lost; returns how many were completed before.
std::size_t runOn(ForgetfulFiles& disk, bool synced) {
  Process process(disk, synced);
  std::size_t done = 0;
  for (const Step& step : steps()) {
    process.make(step);
    if (disk.isLost()) break;
    ++done;
  }
  return done;
}

/// True when a process on this disk finds what was there before or after the step that was under way.
bool keepsWhatWasDone(std::unique_ptr<ForgetfulFiles> disk, std::size_t done, bool synced) {
  const auto isExpected = [&](const Contents& contents) {
    return contents == expected()[done] || (done + 1 < expected().size() && contents == expected()[done + 1]);
  };
  Process next(*disk, synced);
  if (!isExpected(next.contents())) return false;
  // And what it records comes after that, whatever the end of the first process left.
  const Contents found = next.contents();
  next.store().saveSQMRecordType(static_cast<std::int64_t>(RecordType::device), "<z/>");
  auto later = disk->afterLoss({.sectors = ForgetfulFiles::kAll, .names = ForgetfulFiles::kAll});
  Process afterwards(*later, synced);
  Contents contents = afterwards.contents();
  if (contents[static_cast<std::size_t>(RecordType::device)].find("<z/>") == std::string::npos) return false;
  contents[static_cast<std::size_t>(RecordType::device)].clear();
  return contents == found;
}

std::size_t operationsOf(bool synced) {
  ForgetfulFiles disk;
  EXPECT_EQ(runOn(disk, synced), steps().size());
  return disk.operations();
}

TEST(JournalCrash, AProcessThatEndsAtAnyOperationLosesNothing) {
  const std::size_t operations = operationsOf(false);
  for (std::size_t lostAt = 1; lostAt <= operations; ++lostAt) {
    ForgetfulFiles disk(lostAt);
    const std::size_t done = runOn(disk, false);
    auto left = disk.afterLoss({.sectors = ForgetfulFiles::kAll, .names = ForgetfulFiles::kAll});
    EXPECT_TRUE(keepsWhatWasDone(std::move(left), done, false)) << "operation " << lostAt;
  }
  std::printf("%zu operations, none of whose ends lost or doubled a record\n", operations);
}

using PathTest = bool (*)(const std::string& path);

/// Every disk that a loss of power before this operation may leave; returns how many broke the promise.
std::size_t brokenAt(std::size_t lostAt, PathTest isSyncLeftOut, std::size_t& tried) {
  ForgetfulFiles disk(lostAt);
  disk.isSyncLeftOut = isSyncLeftOut;
  const std::size_t done = runOn(disk, true);
  std::size_t broken = 0;
  for (std::size_t names = 0; names <= disk.unsyncedNames(); ++names) {
    for (const std::size_t sectors : {std::size_t{0}, std::size_t{1}, std::size_t{2}, ForgetfulFiles::kAll}) {
      ++tried;
      if (!keepsWhatWasDone(disk.afterLoss({.sectors = sectors, .names = names}), done, true)) ++broken;
    }
  }
  return broken;
}

TEST(JournalCrash, ALossOfPowerAtAnyOperationLosesNothing) {
  const std::size_t operations = operationsOf(true);
  std::size_t tried = 0;
  for (std::size_t lostAt = 1; lostAt <= operations; ++lostAt) {
    EXPECT_EQ(brokenAt(
                  lostAt, [](const std::string&) { return false; }, tried),
              0U)
        << "operation " << lostAt;
  }
  std::printf("%zu operations, %zu disks, none of which lost or doubled a record\n", operations, tried);
}

struct LeftOut {
  const char* name;
  PathTest isLeftOut;
};

class SyncLeftOut : public ::testing::TestWithParam<LeftOut> {};

TEST_P(SyncLeftOut, IsNoticedByTheTestAbove) {
  const std::size_t operations = operationsOf(true);
  std::size_t tried = 0;
  std::size_t broken = 0;
  for (std::size_t lostAt = 1; lostAt <= operations && broken == 0; ++lostAt) {
    broken += brokenAt(lostAt, GetParam().isLeftOut, tried);
  }
  EXPECT_GT(broken, 0U);
}

INSTANTIATE_TEST_SUITE_P(
    JournalCrash, SyncLeftOut,
    ::testing::Values(LeftOut{"OfTheJournal", [](const std::string& path) { return path == "journal"; }},
                      LeftOut{"OfTheJournalThatBeginsAnew",
                              [](const std::string& path) { return path == "journal.new"; }},
                      LeftOut{"OfTheLists", [](const std::string& path) { return path.ends_with(".plist.new"); }},
                      LeftOut{"OfTheJournalsFolder", [](const std::string& path) { return path == "."; }}),
    [](const auto& each) { return std::string(each.param.name); });

struct Error {
  const char* name;
  int number;
};

class JournalError : public ::testing::TestWithParam<Error> {};

TEST_P(JournalError, AtAnyOperationForgetsNothingAndTheFilesHeal) {
  std::size_t operations = 1;
  for (std::size_t failing = 1; failing <= operations; ++failing) {
    ForgetfulFiles disk;
    Contents atTheEnd;
    std::unique_ptr<ForgetfulFiles> lost;
    disk.fault = {.operation = failing, .error = GetParam().number};
    {
      Process process(disk, true);
      for (std::size_t at = 0; at < steps().size(); ++at) {
        process.make(steps()[at]);
        ASSERT_EQ(process.contents(), expected()[at + 1]) << "operation " << failing;
      }
      operations = disk.operations();
      process.make(test::adding(RecordType::device, "z"));  // writes what failed before, too
      atTheEnd = process.contents();
      lost = disk.afterLoss({.sectors = 0, .names = 0});
    }
    EXPECT_EQ(Process(*lost, true).contents(), atTheEnd) << "operation " << failing;
  }
}

INSTANTIATE_TEST_SUITE_P(JournalCrash, JournalError,
                         ::testing::Values(Error{"NoSpace", ENOSPC}, Error{"InputOutput", EIO},
                                           Error{"NoPermission", EACCES}, Error{"ReadOnly", EROFS},
                                           Error{"ManyFiles", EMFILE}, Error{"Quota", EDQUOT},
                                           Error{"Interrupted", EINTR}, Error{"ShortWrite", 0}),
                         [](const auto& each) { return std::string(each.param.name); });

}  // namespace
}  // namespace sqm::delivery
