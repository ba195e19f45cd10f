#include <cstdint>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/delivery/Journal.h"
#include "sqm/testing/FakeServices.h"
#include "sqm/testing/MemoryAppendFile.h"

#include "tests/delivery/JournalProcess.h"
#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/TemporaryFolder.h"

// What a record costs in a journal: system calls and allocations.

namespace sqm::delivery {
namespace {

using ::testing::ElementsAre;

/// The calls of the third record of a process: the first makes the file, and the second opens it.
std::vector<std::string> callsOfARecord(bool synced) {
  const TemporaryFolder folder;
  platform::test::FaultyFileOperations files;
  test::Process process(files, synced, folder / "home");
  EXPECT_FALSE(platform::makeFolders(files, sqmFolderPath(process.configuration())));
  for (int record = 1; record <= 2; ++record) process.make(test::adding(RecordType::connection, "a"));
  const std::size_t before = files.calls().size();
  process.make(test::adding(RecordType::connection, "b"));
  return {files.calls().begin() + static_cast<std::ptrdiff_t>(before), files.calls().end()};
}

TEST(JournalCost, ARecordIsOneWrite) { EXPECT_THAT(callsOfARecord(/*synced=*/false), ElementsAre("write")); }

TEST(JournalCost, WithASyncItIsAWriteAndASync) {
  EXPECT_THAT(callsOfARecord(/*synced=*/true), ElementsAre("write", "fsync"));
}

TEST(JournalCost, ARecordNeedsNoMemoryBesideTheFile) {
  testing::MemoryDisk disk;
  const testing::ManualClock clock;
  Journal journal(std::make_unique<testing::MemoryAppendFile>(disk), clock, {});
  std::array<TextArray, kRecordTypes.size()> lists;
  journal.listsLoaded(lists);
  for (int record = 0; record < 2; ++record) {
    lists[0].append(std::string(1000, 'a'));
    journal.recordStored(lists, RecordType::client);
  }
  disk.content->reserve(100'000);
  const AllocationProbe probe;
  journal.recordStored(lists, RecordType::client);
  EXPECT_EQ(probe.count(), 0U);
}

}  // namespace
}  // namespace sqm::delivery
