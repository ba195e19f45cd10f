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

}  // namespace
}  // namespace sqm::platform
