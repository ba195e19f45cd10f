#include <algorithm>
#include <cerrno>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::Fault;
using test::FaultyFileOperations;

using Strings = std::vector<std::string>;

/// A saved list, and a save of another over it: more than one piece, so that it takes several writes.
class AtomicSaves : public ::testing::Test {
 protected:
  AtomicSaves() {
    save(FileOperations::posix(), old_);
    oldContent_ = contentOf(path_);
    FaultyFileOperations files;
    EXPECT_TRUE(save(files, new_));
    calls_ = files.calls();
    // Faults are numbered from 1, as calls are.
    renameCall_ = 1 + static_cast<std::size_t>(std::find(calls_.begin(), calls_.end(), "rename") - calls_.begin());
    newContent_ = contentOf(path_);
    putContent(path_, oldContent_);
  }

  bool save(FileOperations& files, const Strings& list) {
    PropertyListFiles lists(logs_, {.saves = PropertyListFiles::Saves::atomic}, files);
    return lists.writeToFile(list, path_, /*atomically=*/false);
  }

  /// Saves the new list in a child process, which the fault kills.
  void saveAndBeKilled(Fault fault) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      FaultyFileOperations files(fault);
      save(files, new_);
      ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the save was not interrupted";
  }

  /// The first sync of the folder, after the new list has replaced the old one.
  std::size_t folderSyncCall() const {
    const auto renamed = calls_.begin() + static_cast<std::ptrdiff_t>(renameCall_);
    return 1 + static_cast<std::size_t>(std::find(renamed, calls_.end(), "fsync") - calls_.begin());
  }

  TemporaryFolder folder_;
  const std::string path_ = folder_ / "SQMConnection.plist";
  sqm::testing::MemoryLogs logs_;
  const Strings old_ = Strings(50, std::string(3000, 'o'));
  const Strings new_ = Strings(40, std::string(4000, 'n'));
  std::string oldContent_;
  std::string newContent_;
  std::vector<std::string> calls_;
  std::size_t renameCall_ = 0;  ///< the call that replaces the old list by the new one
};

TEST_F(AtomicSaves, SyncTheNewFileAfterTheLastWriteAndBeforeTheRenameAndThenTheFolder) {
  std::vector<std::string> order;
  for (const std::string& call : calls_) {
    const bool counts = call == "write" || call == "fsync" || call == "rename";
    if (counts && (order.empty() || order.back() != call)) order.push_back(call);
  }
  EXPECT_EQ(order, (Strings{"write", "fsync", "rename", "fsync"}));
  EXPECT_GT(std::count(calls_.begin(), calls_.end(), "write"), 1) << "the list is written in several pieces";
}

TEST_F(AtomicSaves, AProcessKilledAtAnyCallLeavesTheOldOrTheNewList) {
  for (std::size_t call = 1; call <= calls_.size(); ++call) {
    for (const auto kind : {Fault::Kind::killsBefore, Fault::Kind::killsHalfway, Fault::Kind::killsAfter}) {
      if (kind == Fault::Kind::killsHalfway && calls_[call - 1] != "write") continue;
      SCOPED_TRACE(calls_[call - 1] + ", call " + std::to_string(call));
      putContent(path_, oldContent_);
      saveAndBeKilled({kind, call, 0});
      const bool renamed = call > renameCall_ || (call == renameCall_ && kind == Fault::Kind::killsAfter);
      EXPECT_TRUE(contentOf(path_) == (renamed ? newContent_ : oldContent_));
      EXPECT_LE(folder_.names().size(), 2U);
      EXPECT_TRUE(save(FileOperations::posix(), new_));
      EXPECT_TRUE(contentOf(path_) == newContent_);
      EXPECT_EQ(folder_.names(), Strings{"SQMConnection.plist"}) << "a killed process's temporary file is still there";
    }
  }
}

TEST_F(AtomicSaves, AFailureAtAnyCallLeavesTheOldListAndNothingElse) {
  std::size_t failures = 0;
  for (std::size_t call = 1; call <= renameCall_; ++call) {
    for (const int error : {ENOSPC, EIO}) {
      SCOPED_TRACE(calls_[call - 1] + ", call " + std::to_string(call));
      if (calls_[call - 1] == "futimens") continue;  // the file keeps the system's time
      FaultyFileOperations files({Fault::Kind::fails, call, error});
      EXPECT_FALSE(save(files, new_));
      EXPECT_TRUE(contentOf(path_) == oldContent_);
      EXPECT_EQ(folder_.names(), Strings{"SQMConnection.plist"});
      EXPECT_EQ(logs_.lines("SQMFiles.log").size(), ++failures);
      const std::string reason = error == EIO ? "Input/output error" : "No space left on device";
      EXPECT_EQ(logs_.lines("SQMFiles.log").back(), "USER 2 cannot write " + path_ + ": " + reason);
    }
  }
}

TEST_F(AtomicSaves, AFolderThatCannotBeSyncedIsReportedAndTheNewListStays) {
  FaultyFileOperations files({Fault::Kind::fails, folderSyncCall(), EIO});
  EXPECT_FALSE(save(files, new_));
  EXPECT_TRUE(contentOf(path_) == newContent_);
}

TEST_F(AtomicSaves, AFileSystemThatCannotSyncFoldersIsNoFailure) {
  FaultyFileOperations files({Fault::Kind::fails, folderSyncCall(), EINVAL});
  EXPECT_TRUE(save(files, new_));
}

TEST_F(AtomicSaves, PartialAndInterruptedCallsAreContinued) {
  for (std::size_t call = 1; call <= calls_.size(); ++call) {
    const std::string& name = calls_[call - 1];
    if (name == "fstat" || name == "unlink" || name == "rename") continue;  // these are not interrupted
    SCOPED_TRACE(name + ", call " + std::to_string(call));
    for (const Fault fault : {Fault{Fault::Kind::fails, call, EINTR}, Fault{Fault::Kind::writesHalf, call, 0}}) {
      putContent(path_, oldContent_);
      FaultyFileOperations files(fault);
      EXPECT_TRUE(save(files, new_));
      EXPECT_TRUE(contentOf(path_) == newContent_);
    }
  }
  EXPECT_TRUE(logs_.lines("SQMFiles.log").empty());
}

TEST_F(AtomicSaves, ALinkWithTheNameOfTheTemporaryFileIsNotFollowed) {
  putContent(folder_ / "other", "precious");
  std::filesystem::create_symlink(folder_ / "other", path_ + ".new");
  EXPECT_TRUE(save(FileOperations::posix(), new_));
  EXPECT_EQ(contentOf(folder_ / "other"), "precious");
  EXPECT_TRUE(contentOf(path_) == newContent_);
}

TEST_F(AtomicSaves, TheCallersFlagIsEnough) {
  FaultyFileOperations files;
  PropertyListFiles lists(logs_, {}, files);
  EXPECT_TRUE(lists.writeToFile(new_, path_, /*atomically=*/true));
  EXPECT_EQ(files.calls(), calls_) << "as with the option";
}

TEST_F(AtomicSaves, AMissingFolderIsNotCreated) {
  PropertyListFiles lists(logs_, {});
  EXPECT_FALSE(lists.writeToFile(new_, folder_ / "missing/list.plist", true));
  EXPECT_EQ(folder_.names(), Strings{"SQMConnection.plist"});
}

}  // namespace
}  // namespace sqm::platform
