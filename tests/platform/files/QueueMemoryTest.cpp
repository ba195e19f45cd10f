#include <cstddef>
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "sqm/platform/files/ArchiveFiles.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/support/AllocationProbe.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

/// Calls `operation` with memory for 0, 1, 2 … allocations until it succeeds. Returns how often it failed.
std::size_t failuresForWantOfMemory(const std::function<bool()>& operation) {
  for (std::size_t successes = 0;; ++successes) {
    AllocationProbe probe;
    probe.failAfter(successes);
    if (operation()) return successes;
  }
}

TEST(QueueMemory, AnArchiveIsReadOrStaysWhereItIs) {
  const TemporaryFolder folder;
  const std::string path = folder / "QFRecordUploader.plist";
  testing::MemoryLogs logs;
  ArchiveFiles archives(logs);
  const UploadRequests requests = {{"https://collect.example/", std::string(100, 'x')}};
  ASSERT_TRUE(archives.serializeObject(requests, path));
  std::optional<UploadRequests> read;
  const std::size_t failures =
      failuresForWantOfMemory([&] { return (read = archives.objectFromFile(path)).has_value(); });
  EXPECT_GT(failures, 2U);
  EXPECT_EQ(read, requests);
  EXPECT_EQ(folder.names().size(), 1U);
}

TEST(QueueMemory, AnArchiveIsWrittenWithoutACopyOfTheRequests) {
  constexpr std::size_t kCount = 10'000;
  constexpr std::size_t kOfEachRequest = 40;  // the places of its objects
  constexpr std::size_t kBuffer = 80'000;
  const TemporaryFolder folder;
  testing::MemoryLogs logs;
  ArchiveFiles archives(logs);
  const UploadRequests requests(kCount, {"https://collect.example/", std::string(1000, 'x')});
  const AllocationProbe probe;
  const bool isWritten = archives.serializeObject(requests, folder / "archive");
  const std::size_t bytes = probe.bytes();
  EXPECT_TRUE(isWritten);
  EXPECT_LT(bytes, kBuffer + kCount * kOfEachRequest);
}

}  // namespace
}  // namespace sqm::platform
