#include "sqm/platform/files/FolderLock.h"

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <set>
#include <thread>
#include <unistd.h>
#include <utility>

namespace sqm::platform {

namespace {

constexpr std::chrono::milliseconds kPause{20};  // between attempts

using FileNumber = std::pair<dev_t, ino_t>;

FileNumber numberOf(const struct ::stat& status) { return {status.st_dev, status.st_ino}; }

/// The files that this process has locked. The system would grant it a second lock on one of them, and release the
/// first when the second's descriptor is closed.
struct LockedFiles {
  std::mutex mutex;  // held while a file is opened to be locked, and while it is closed
  std::set<FileNumber> numbers;
  pid_t process = ::getpid();  // a child made by fork(2) has a copy of the numbers, and no lock
};

LockedFiles& lockedFiles() {
  // Never destroyed: a lock may be released when the process ends.
  // NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): the locks of the process are one state
  static auto* const kFiles = new LockedFiles;
  return *kFiles;
}

}  // namespace

FolderLock::FolderLock(const std::string& folder, std::chrono::milliseconds patience, const FileProblems& problems,
                       FileOperations& files)
    : files_(files) {
  using std::chrono::milliseconds;
  using Clock = std::chrono::steady_clock;
  const std::string path = folder + "/" + std::string(kFolderLockFile);
  std::string reason;
  if (const auto problem = makeFolders(files_, folder)) {
    reason = problem.message();
  } else {
    const auto start = Clock::now();
    while ((state_ = attempt(path, reason)) == State::elsewhere &&
           std::chrono::floor<milliseconds>(Clock::now() - start) < patience) {
      std::this_thread::sleep_for(kPause);
    }
  }
  if (state_ != State::owned) problems.cannotWrite(path, reason);
}

FolderLock::State FolderLock::attempt(const std::string& path, std::string& reason) {
  LockedFiles& locked = lockedFiles();
  const std::lock_guard lock(locked.mutex);
  const pid_t process = ::getpid();
  if (std::exchange(locked.process, process) != process) locked.numbers.clear();
  struct ::stat there {};
  if (files_.stat(path, there) == 0 && locked.numbers.contains(numberOf(there))) {
    reason = "it is locked by this process";
    return State::elsewhere;
  }
  if (const auto problem = file_.open(files_, path, O_RDWR | O_CREAT | O_NOFOLLOW)) {
    reason = problem.message();
    return State::failed;
  }
  pid_t owner = 0;
  if (files_.lock(file_.descriptor(), owner) == 0) {
    locked.numbers.insert(numberOf(file_.status()));
    return State::owned;
  }
  const std::error_code problem = lastError();
  file_.close();
  if (problem != std::errc::resource_unavailable_try_again) {
    reason = problem.message();
    return State::failed;
  }
  reason = owner == 0 ? "it is locked by another process" : "it is locked by process " + std::to_string(owner);
  return State::elsewhere;
}

FolderLock::~FolderLock() {
  if (state_ != State::owned) return;
  LockedFiles& locked = lockedFiles();
  const std::lock_guard lock(locked.mutex);
  file_.close();
  locked.numbers.erase(numberOf(file_.status()));
}

}  // namespace sqm::platform
