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
    newContent_ = contentOf(path_);
    putContent(path_, oldContent_);
  }

  bool save(FileOperations& files, const Strings& list) {
    PropertyListFiles lists(logs_, {.atomicSaves = true}, files);
    return lists.writeToFile(list, path_, false);
  }

  /// Saves the new list in a process of its own, which the fault kills.
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
    ASSERT_TRUE(WIFSIGNALED(status)) << "the save came to its end";
  }

  /// Where the new list takes the place of the old one, counted from 1 as faults are.
  std::size_t renameCall() const {
    return static_cast<std::size_t>(std::find(calls_.begin(), calls_.end(), "rename") - calls_.begin()) + 1;
  }

  TemporaryFolder folder_;
  const std::string path_ = folder_ / "SQMConnection.plist";
  sqm::testing::MemoryLogs logs_;
  const Strings old_ = Strings(50, std::string(3000, 'o'));
  const Strings new_ = Strings(40, std::string(4000, 'n'));
  std::string oldContent_;
  std::string newContent_;
  std::vector<std::string> calls_;
};

TEST_F(AtomicSaves, GoThroughATemporaryFileThatIsSyncedAndRenamed) {
  EXPECT_EQ(calls_, (std::vector<std::string>{"open", "fstat", "unlink", "open", "fstat", "write", "write", "write",
                                              "fsync", "close", "rename", "fsync", "close"}));
}

TEST_F(AtomicSaves, AProcessKilledAtAnyCallLeavesTheOldOrTheNewList) {
  for (std::size_t call = 1; call <= calls_.size(); ++call) {
    for (const auto kind : {Fault::Kind::killsBefore, Fault::Kind::killsHalfway, Fault::Kind::killsAfter}) {
      if (kind == Fault::Kind::killsHalfway && calls_[call - 1] != "write") continue;
      SCOPED_TRACE(calls_[call - 1] + ", call " + std::to_string(call));
      putContent(path_, oldContent_);
      saveAndBeKilled({kind, call, 0});
      const bool renamed = call > renameCall() || (call == renameCall() && kind == Fault::Kind::killsAfter);
      EXPECT_TRUE(contentOf(path_) == (renamed ? newContent_ : oldContent_));
      EXPECT_LE(folder_.names().size(), 2U);
    }
  }
  EXPECT_TRUE(save(FileOperations::posix(), new_));
  EXPECT_EQ(folder_.names(), Strings{"SQMConnection.plist"}) << "what the killed left behind is not cleared away";
}

TEST_F(AtomicSaves, AFailureAtAnyCallLeavesTheOldListAndNothingElse) {
  std::size_t failures = 0;
  for (std::size_t call = 1; call < renameCall() + 1; ++call) {
    for (const int error : {ENOSPC, EIO}) {
      SCOPED_TRACE(calls_[call - 1] + ", call " + std::to_string(call));
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

TEST_F(AtomicSaves, AFolderThatCannotBeSyncedIsReportedThoughTheNewListStands) {
  FaultyFileOperations files({Fault::Kind::fails, renameCall() + 1, EIO});
  EXPECT_FALSE(save(files, new_));
  EXPECT_TRUE(contentOf(path_) == newContent_);
}

TEST_F(AtomicSaves, AFileSystemThatSyncsNoFoldersWillDo) {
  FaultyFileOperations files({Fault::Kind::fails, renameCall() + 1, EINVAL});
  EXPECT_TRUE(save(files, new_));
}

TEST_F(AtomicSaves, ShortAndInterruptedCallsDoNotHarm) {
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

TEST_F(AtomicSaves, ALinkInTheTemporaryFilesPlaceIsNotFollowed) {
  putContent(folder_ / "other", "precious");
  std::filesystem::create_symlink(folder_ / "other", path_ + ".new");
  EXPECT_TRUE(save(FileOperations::posix(), new_));
  EXPECT_EQ(contentOf(folder_ / "other"), "precious");
  EXPECT_TRUE(contentOf(path_) == newContent_);
}

TEST_F(AtomicSaves, TheCallersFlagIsEnough) {
  FaultyFileOperations files;
  PropertyListFiles lists(logs_, {}, files);
  EXPECT_TRUE(lists.writeToFile(new_, path_, true));
  EXPECT_EQ(files.calls(), calls_);
}

TEST_F(AtomicSaves, AMissingFolderIsNotMade) {
  PropertyListFiles lists(logs_, {});
  EXPECT_FALSE(lists.writeToFile(new_, folder_ / "missing/list.plist", true));
  EXPECT_EQ(folder_.names(), Strings{"SQMConnection.plist"});
}

}  // namespace
}  // namespace sqm::platform
