#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/platform/files/FolderLock.h"

#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/OtherProcess.h"
#include "tests/support/Patience.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using State = FolderLock::State;
using std::chrono::milliseconds;
using test::Fault;
using test::FaultyFileOperations;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr milliseconds kAtOnce{0};

/// A lock and what it has reported.
struct Attempt {
  explicit Attempt(const std::string& folder, milliseconds patience = kAtOnce,
                   FileOperations& files = FileOperations::posix())
      : lock(std::make_unique<FolderLock>(
            folder, patience, FileProblems([this](const FileProblem& problem) { problems.push_back(textOf(problem)); }),
            files)) {}

  State state() const { return lock->state(); }

  std::vector<std::string> problems;
  std::unique_ptr<FolderLock> lock;
};

State stateOfAttempt(const std::string& folder) { return Attempt(folder).state(); }

/// Makes a lock that this process keeps until it ends.
void own(const std::string& folder) {
  static std::unique_ptr<FolderLock> lock;
  lock = std::move(Attempt(folder).lock);
  if (lock->state() != State::owned) ::_exit(1);
}

/// Another process that makes a lock and keeps it.
class Owner : public OtherProcess {
 public:
  explicit Owner(const std::string& folder) : OtherProcess([&] { own(folder); }) {}
};

/// Calls `onAttempt` with the number of each attempt to lock a file, before it is made.
class FilesWithLockAttempts : public FaultyFileOperations {
 public:
  explicit FilesWithLockAttempts(std::function<void(int)> onAttempt) : onAttempt_(std::move(onAttempt)) {}

  int attempts() const { return attempts_; }

  int lock(int descriptor, pid_t& owner) override {
    onAttempt_(++attempts_);
    return FaultyFileOperations::lock(descriptor, owner);
  }

 private:
  std::function<void(int)> onAttempt_;
  int attempts_ = 0;
};

/// What another process finds.
State stateInAChild(const std::string& folder) {
  const pid_t child = ::fork();
  if (child == 0) ::_exit(static_cast<int>(stateOfAttempt(folder)));
  int status = 0;
  EXPECT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status));
  return static_cast<State>(WEXITSTATUS(status));
}

TEST(FolderLock, MakesTheFolderAndAnEmptyFileForItsUserAlone) {
  namespace fs = std::filesystem;
  const TemporaryFolder home;
  const Attempt attempt(home / "above/folder");
  EXPECT_EQ(attempt.state(), State::owned);
  EXPECT_THAT(attempt.problems, IsEmpty());
  EXPECT_EQ(permissionsOf(home / "above/folder"), fs::perms::owner_all);
  EXPECT_EQ(permissionsOf(home / "above/folder/SQM.lock"), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(contentOf(home / "above/folder/SQM.lock"), "");
}

TEST(FolderLock, IsElsewhereWhileAnotherProcessHasIt) {
  const TemporaryFolder folder;
  const Owner owner(folder.path());
  const Attempt attempt(folder.path());
  EXPECT_EQ(attempt.state(), State::elsewhere);
  EXPECT_THAT(attempt.problems, ElementsAre("cannot write " + folder / "SQM.lock" + ": it is locked by process " +
                                            std::to_string(owner.number())));
}

TEST(FolderLock, OfAKilledProcessIsReleased) {
  const TemporaryFolder folder;
  Owner owner(folder.path());
  ASSERT_EQ(stateOfAttempt(folder.path()), State::elsewhere);
  owner.kill();
  EXPECT_TRUE(std::filesystem::exists(folder / "SQM.lock"));
  EXPECT_EQ(stateOfAttempt(folder.path()), State::owned);
}

TEST(FolderLock, IsReleasedWithTheObject) {
  const TemporaryFolder folder;
  Attempt attempt(folder.path());
  ASSERT_EQ(stateInAChild(folder.path()), State::elsewhere);
  attempt.lock.reset();
  EXPECT_EQ(stateInAChild(folder.path()), State::owned);
}

TEST(FolderLock, IsOwnedOnceInAProcess) {
  const TemporaryFolder folder;
  const TemporaryFolder links;
  std::filesystem::create_directory_symlink(folder.path(), links / "link");
  const Attempt first(folder.path());
  for (const std::string& path : {folder.path(), links / "link"}) {
    const Attempt second(path);
    EXPECT_EQ(second.state(), State::elsewhere);
    EXPECT_THAT(second.problems, ElementsAre(HasSubstr("it is locked by this process")));
  }
  EXPECT_EQ(stateInAChild(folder.path()), State::elsewhere) << "the failed attempts have not released it";
}

TEST(FolderLock, OfAnotherFolderIsAnotherLock) {
  const TemporaryFolder one;
  const TemporaryFolder other;
  const Attempt first(one.path());
  EXPECT_EQ(first.state(), State::owned);
  EXPECT_EQ(stateOfAttempt(other.path()), State::owned);
}

TEST(FolderLock, ThatIsWaitedForIsOwnedOnceItsOwnerIsKilled) {
  const TemporaryFolder folder;
  Owner owner(folder.path());
  FilesWithLockAttempts files([&](int attempt) {
    if (attempt == 3) owner.kill();
  });
  const Attempt waiting(folder.path(), kPatience, files);
  EXPECT_EQ(waiting.state(), State::owned);
  EXPECT_THAT(waiting.problems, IsEmpty());
  EXPECT_EQ(files.attempts(), 3);
}

TEST(FolderLock, IsReportedOnceWhenItWasWaitedForInVain) {
  const TemporaryFolder folder;
  const Owner owner(folder.path());
  const Attempt attempt(folder.path(), milliseconds(1));
  EXPECT_EQ(attempt.state(), State::elsewhere);
  EXPECT_EQ(attempt.problems.size(), 1U);
}

TEST(FolderLock, IsTriedOnceWithoutPatience) {
  const TemporaryFolder folder;
  const Owner owner(folder.path());
  for (const milliseconds patience : {kAtOnce, milliseconds(-1), milliseconds::min()}) {
    FilesWithLockAttempts files([](int) {});
    EXPECT_EQ(Attempt(folder.path(), patience, files).state(), State::elsewhere);
    EXPECT_EQ(files.attempts(), 1);
  }
}

TEST(FolderLock, IsNotTakenOverByAForkedChildThatOutlivesItsOwner) {
  const TemporaryFolder folder;
  // The owner's child prints nothing and executes nothing; it has a copy of the open file.
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  OtherProcess owner([&] {
    own(folder.path());
    const pid_t child = ::fork();
    if (child == 0) {
      for (;;) ::pause();
    }
    if (::write(ends[1], &child, sizeof child) != sizeof child) ::_exit(1);
  });
  pid_t child = 0;
  ASSERT_EQ(::read(ends[0], &child, sizeof child), static_cast<ssize_t>(sizeof child));
  ASSERT_EQ(stateOfAttempt(folder.path()), State::elsewhere);
  owner.kill();
  EXPECT_EQ(::kill(child, 0), 0) << "the child runs";
  EXPECT_EQ(stateOfAttempt(folder.path()), State::owned);
  ::kill(child, SIGKILL);
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST(FolderLock, IsNotReleasedByAForkedChild) {
  const TemporaryFolder folder;
  Attempt attempt(folder.path());
  const pid_t child = ::fork();
  if (child == 0) {
    attempt.lock.reset();
    ::_exit(0);
  }
  ASSERT_EQ(::waitpid(child, nullptr, 0), child);
  EXPECT_EQ(stateInAChild(folder.path()), State::elsewhere);
}

TEST(FolderLock, DoesNotReachAProgramThatIsExecuted) {
  const TemporaryFolder folder;
  const Attempt attempt(folder.path());
  const pid_t child = ::fork();
  if (child == 0) {
    // NOLINTNEXTLINE(android-cloexec-open): the program is to have this file
    if (::open((folder / "inherited").c_str(), O_WRONLY | O_CREAT, 0600) < 0) ::_exit(3);
    const std::string command =
        R"(files=$(ls -l /proc/self/fd); echo "$files" | grep -q inherited && ! echo "$files" | grep -q SQM.lock)";
    ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
    ::_exit(2);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(WEXITSTATUS(status), 0);
  EXPECT_EQ(stateInAChild(folder.path()), State::elsewhere);
}

TEST(FolderLock, LeavesWhatTheFileHolds) {
  const TemporaryFolder folder;
  const std::string bytes("\0\xff<plist>\n", 10);
  putContent(folder / "SQM.lock", bytes);
  EXPECT_EQ(stateOfAttempt(folder.path()), State::owned);
  EXPECT_EQ(contentOf(folder / "SQM.lock"), bytes);
}

TEST(FolderLock, FailsWhereItsFileCannotBeOne) {
  const TemporaryFolder folder;
  putContent(folder / "target", "");
  const std::function<void(const std::string&)> kMakers[] = {
      [](const std::string& path) { std::filesystem::create_directory(path); },
      [](const std::string& path) { EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0); },
      [&](const std::string& path) { std::filesystem::create_symlink(folder / "target", path); },
      [&](const std::string& path) { std::filesystem::create_symlink(folder / "nowhere", path); },
      [&](const std::string& path) { std::filesystem::create_symlink(path, path); }};
  for (const auto& make : kMakers) {
    make(folder / "SQM.lock");
    const Attempt attempt(folder.path(), kPatience);
    EXPECT_EQ(attempt.state(), State::failed);
    EXPECT_THAT(attempt.problems, ElementsAre(HasSubstr("cannot write " + folder / "SQM.lock" + ": ")));
    EXPECT_FALSE(std::filesystem::exists(folder / "nowhere"));
    std::filesystem::remove(folder / "SQM.lock");
  }
}

TEST(FolderLock, FailsInAFolderThatCannotBeWrittenOrMade) {
  const TemporaryFolder folder;
  putContent(folder / "file", "");
  const RestrictedPermissions restricted(folder.path(), kReadOnlyFolder);
  const OrdinaryUser user;
  EXPECT_EQ(stateOfAttempt(folder.path()), State::failed);
  EXPECT_EQ(stateOfAttempt(folder / "new"), State::failed);
  EXPECT_EQ(stateOfAttempt(folder / "file"), State::failed);
}

TEST(FolderLock, FailsOnAFileOfAnotherUser) {
  const TemporaryFolder folder;
  putContent(folder / "SQM.lock", "");
  const RestrictedPermissions ofNobody(folder / "SQM.lock", std::filesystem::perms::none);
  const OrdinaryUser user;
  const Attempt attempt(folder.path());
  EXPECT_EQ(attempt.state(), State::failed);
  EXPECT_THAT(attempt.problems, ElementsAre(HasSubstr("Permission denied")));
}

TEST(FolderLock, FailsWhereTheFileSystemHasNoLocks) {
  const TemporaryFolder folder;
  FaultyFileOperations counted;
  ASSERT_EQ(Attempt(folder.path(), kAtOnce, counted).state(), State::owned);
  const auto call = static_cast<std::size_t>(std::ranges::find(counted.calls(), "lock") - counted.calls().begin()) + 1;
  FaultyFileOperations faulty(Fault{.kind = Fault::Kind::fails, .call = call, .error = ENOLCK});
  const Attempt attempt(folder.path(), kPatience, faulty);
  EXPECT_EQ(attempt.state(), State::failed);
  EXPECT_THAT(attempt.problems, ElementsAre(HasSubstr("No locks available")));
}

}  // namespace
}  // namespace sqm::platform
