#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <new>
#include <string>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "sqm/platform/files/SystemAppendFile.h"

#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/Patience.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using namespace std::chrono_literals;
using test::FaultyFileOperations;

/// Counts the syncs, of any thread, and lets them fail.
class CountedSyncs : public FaultyFileOperations {
 public:
  int fsync(int descriptor) override {
    ++count;
    if (error != 0) {
      errno = error;
      return -1;
    }
    return FileOperations::posix().fsync(descriptor);
  }

  std::atomic<int> count{0};
  std::atomic<int> error{0};
};

/// Writes a part once, and then nothing.
class WritesNothing : public FaultyFileOperations {
 public:
  ssize_t write(int descriptor, const void* bytes, std::size_t size) override {
    if (std::exchange(hasWritten_, true)) return 0;
    return FileOperations::posix().write(descriptor, bytes, size / 2);
  }

 private:
  bool hasWritten_ = false;
};

class SystemAppendFileTest : public ::testing::Test {
 protected:
  std::error_code append(SystemAppendFile& file, std::string_view bytes) { return file.append(bytes, written_); }
  std::error_code replace(SystemAppendFile& file, std::string_view content) {
    return file.replace(content, /*synced=*/false, isReplaced_);
  }

  TemporaryFolder folder_;
  const std::string path_ = folder_ / "journal";
  CountedSyncs files_;
  std::size_t written_ = 0;
  bool isReplaced_ = false;
};

TEST_F(SystemAppendFileTest, AppendsToTheFileThatWasMade) {
  SystemAppendFile file(path_);
  EXPECT_EQ(append(file, "a"), std::errc::no_such_file_or_directory);
  EXPECT_FALSE(replace(file, "head "));
  EXPECT_TRUE(isReplaced_);
  EXPECT_FALSE(append(file, "and more"));
  EXPECT_EQ(written_, 8U);
  std::string content;
  EXPECT_FALSE(file.read(content));
  EXPECT_EQ(content, "head and more");
  EXPECT_EQ(permissionsOf(path_), std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(SystemAppendFileTest, ASystemThatWritesNothingIsAFailure) {
  putContent(path_, "a");
  WritesNothing files;
  SystemAppendFile file(path_, {}, files);
  EXPECT_EQ(append(file, "1234"), std::errc::io_error);
  EXPECT_EQ(written_, 2U);
}

TEST_F(SystemAppendFileTest, PassesALargeFileInPieces) {
  std::string content;
  for (int number = 0; number < 50'000; ++number) content += std::to_string(number);
  putContent(path_, content);
  std::string found;
  std::size_t pieces = 0;
  EXPECT_FALSE(SystemAppendFile(path_).readPieces([&](std::string_view bytes, std::uintmax_t toCome) {
    found += bytes;
    ++pieces;
    EXPECT_EQ(found.size() + toCome, content.size());
  }));
  EXPECT_EQ(found, content);
  EXPECT_GT(pieces, 1U);
}

TEST_F(SystemAppendFileTest, ReportsWhyAFileCannotBeRead) {
  const auto ignore = [](std::string_view, std::uintmax_t) {};
  EXPECT_EQ(SystemAppendFile(path_).readPieces(ignore), std::errc::no_such_file_or_directory);
  putContent(path_, std::string(100'000, 'x'));
  EXPECT_EQ(SystemAppendFile(path_).readPieces([](std::string_view, std::uintmax_t) { throw std::bad_alloc(); }),
            std::errc::not_enough_memory);
  const std::size_t calls = [&] {
    FaultyFileOperations files;
    EXPECT_FALSE(SystemAppendFile(path_, {}, files).readPieces(ignore));
    return files.calls().size();
  }();
  for (std::size_t call = 1; call <= calls; ++call) {
    FaultyFileOperations failing({.kind = test::Fault::Kind::fails, .call = call, .error = EIO});
    const auto problem = SystemAppendFile(path_, {}, failing).readPieces(ignore);
    EXPECT_EQ(problem == std::errc::io_error, failing.calls()[call - 1] != "close") << call;
  }
}

TEST_F(SystemAppendFileTest, NoticesWithinASecondThatTheFileIsGone) {
  std::chrono::steady_clock::time_point now{};
  SystemAppendFile file(path_, {.now = [&now] { return now; }});
  EXPECT_FALSE(replace(file, "a"));
  now += 10s;
  EXPECT_FALSE(append(file, "b"));
  std::filesystem::remove(path_);
  putContent(path_, "of another process");
  EXPECT_FALSE(append(file, "c"));
  now += 1s;
  EXPECT_EQ(append(file, "d"), std::errc::no_such_file_or_directory);
  EXPECT_EQ(contentOf(path_), "of another process");
}

TEST_F(SystemAppendFileTest, IsMovedAsideUnderANameOfItsOwn) {
  SystemAppendFile file(path_);
  for (const std::string content : {"first", "second"}) {
    EXPECT_FALSE(replace(file, content));
    EXPECT_FALSE(file.moveAside());
  }
  EXPECT_EQ(contentOf(path_ + ".aside"), "first");
  EXPECT_EQ(contentOf(path_ + ".aside-2"), "second");
  EXPECT_FALSE(std::filesystem::exists(path_));
}

TEST_F(SystemAppendFileTest, SyncsAtOnceUnlessATimeIsGiven) {
  SystemAppendFile file(path_, {}, files_);
  EXPECT_FALSE(file.sync()) << "nothing is open";
  EXPECT_FALSE(replace(file, "a"));
  EXPECT_FALSE(append(file, "b"));
  EXPECT_FALSE(file.sync());
  EXPECT_EQ(files_.count, 1);
  files_.error = EIO;
  EXPECT_EQ(file.sync(), std::errc::io_error);
}

TEST_F(SystemAppendFileTest, SyncsWithinTheTimeThatIsGiven) {
  SystemAppendFile file(path_, {.syncWithin = 1ms}, files_);
  EXPECT_FALSE(replace(file, "a"));
  EXPECT_FALSE(append(file, "b"));
  EXPECT_FALSE(file.sync());
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (files_.count == 0 && std::chrono::steady_clock::now() < deadline) std::this_thread::sleep_for(1ms);
  EXPECT_EQ(files_.count, 1);
}

TEST_F(SystemAppendFileTest, AGroupThatCannotBeSyncedIsReportedByTheNextSync) {
  SystemAppendFile file(path_, {.syncWithin = 1ms}, files_);
  EXPECT_FALSE(replace(file, "a"));
  EXPECT_FALSE(append(file, "b"));
  files_.error = EIO;
  std::error_code problem;
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!problem && std::chrono::steady_clock::now() < deadline) {
    problem = file.sync();
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_EQ(problem, std::errc::io_error);
}

TEST_F(SystemAppendFileTest, SyncsManyAppendsAtOnceAtTheLatestWhenItIsDestroyed) {
  {
    SystemAppendFile file(path_, {.syncWithin = 1h}, files_);
    EXPECT_FALSE(replace(file, "a"));
    for (int number = 0; number < 100; ++number) {
      EXPECT_FALSE(append(file, "b"));
      EXPECT_FALSE(file.sync());
    }
    EXPECT_EQ(files_.count, 0);
  }
  EXPECT_EQ(files_.count, 1);
}

}  // namespace
}  // namespace sqm::platform
