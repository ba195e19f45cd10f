#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/FileProblems.h"

namespace sqm::platform {

/// The file in the folder that is locked. Not to change: processes of other versions lock it.
inline constexpr std::string_view kFolderLockFile = "SQM.lock";

/// A lock on a folder, so that one process at a time writes there. It is advisory: it keeps out those who ask for it.
///
/// It is a record lock (fcntl(2)) on a file of the folder. The system releases it when the process ends, in whatever
/// way. A child process does not have it, whether it executes a program or not, and cannot release it. The file stays
/// when the lock is released; what it holds does not matter and is not changed. While it is locked, no other code of
/// the process may open it: the system releases the lock when any descriptor of the file is closed. Who removes the
/// file or the folder removes the lock.
///
/// Ownership: the lock is released with the object. `files` is borrowed.
/// Threading: any thread.
/// Failure: by the state; the reason is reported as a problem of the file.
class FolderLock {
 public:
  enum class State : std::uint8_t {
    owned,
    elsewhere,  ///< another process has the lock, or another object of this one
    failed,     ///< the folder cannot be made, or the file cannot be opened or locked
  };

  /// Makes the folder, private to the user, where it is missing. While the lock is elsewhere, tries again until
  /// `patience` has passed; once when it is zero or less.
  FolderLock(const std::string& folder, std::chrono::milliseconds patience, const FileProblems& problems,
             FileOperations& files = FileOperations::posix());
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;
  ~FolderLock();

  State state() const { return state_; }

 private:
  State attempt(const std::string& path, std::string& reason);

  FileOperations& files_;
  File file_;  // open while the lock is owned
  State state_ = State::failed;
};

}  // namespace sqm::platform
