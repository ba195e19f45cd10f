#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "sqm/platform/files/ArchiveFiles.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/support/AllocationProbe.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

/// Calls `operation` with memory for 0, 1, 2 … allocations until it succeeds; tells how often it failed, and calls
/// `check` each time.
std::size_t failuresForWantOfMemory(
    const std::function<bool()>& operation, const std::function<void()>& check = [] {}) {
  for (std::size_t successes = 0;; ++successes) {
    {
      AllocationProbe probe;
      probe.failAfter(successes);
      if (operation()) return successes;
    }
    check();
  }
}

TEST(QueueMemory, AnArchiveIsWrittenOrStaysAsItIs) {
  const TemporaryFolder folder;
  const std::string path = folder / "QFRecordUploader.plist";
  testing::MemoryLogs logs;
  ArchiveFiles archives(logs);
  const UploadRequests old = {{"u", "old"}};
  ASSERT_TRUE(archives.serializeObject(old, path));
  const std::string content = contentOf(path);
  const UploadRequests requests = {{"https://collect.example/", std::string(100, 'x') + "\xC3\xA9"}};
  const std::size_t failures = failuresForWantOfMemory([&] { return archives.serializeObject(requests, path); },
                                                       [&] { EXPECT_EQ(contentOf(path), content); });
  EXPECT_GT(failures, 2U);
  EXPECT_EQ(archives.objectFromFile(path), requests);
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
