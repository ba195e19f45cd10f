#pragma once

#include <chrono>
#include <cstddef>
#include <fcntl.h>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>
#include <system_error>

namespace sqm::platform {

/// The system calls that the platform's file code makes, one operation each, so that a test can make any of them fail.
/// A failed operation returns -1 and sets `errno`.
///
/// Threading: any thread.
class FileOperations {
 public:
  virtual ~FileOperations() = default;

  /// The operations of the system. Descriptors are opened with close-on-exec. A path that holds a NUL is refused.
  static FileOperations& posix();

  /// `openat` and `unlinkat` relative to the working directory.
  int open(const std::string& path, int flags, mode_t mode);
  int unlink(const std::string& path);

  virtual int openat(int folder, const std::string& path, int flags, mode_t mode) = 0;
  virtual ssize_t read(int descriptor, void* buffer, std::size_t size) = 0;
  virtual ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t from) = 0;
  virtual ssize_t write(int descriptor, const void* bytes, std::size_t size) = 0;
  virtual int fstat(int descriptor, struct ::stat& status) = 0;
  virtual int ftruncate(int descriptor, off_t length) = 0;
  virtual int fsync(int descriptor) = 0;
  virtual int close(int descriptor) = 0;
  virtual int stat(const std::string& path, struct ::stat& status) = 0;
  virtual int rename(const std::string& from, const std::string& to) = 0;
  virtual int unlinkat(int folder, const std::string& path, int flags) = 0;
  virtual int mkdir(const std::string& path, mode_t mode) = 0;

  /// Reads entries of an open folder, in the system's own form.
  virtual ssize_t getdents(int folder, void* buffer, std::size_t size) = 0;

  /// Sets the time of the last change of the content.
  virtual int futimens(int descriptor, const struct ::timespec& modified) = 0;

  /// Locks the whole file for this process, without waiting. `EAGAIN` when another process has locked it, whose number
  /// `owner` then is; 0 when that is not known.
  virtual int lock(int descriptor, pid_t& owner) = 0;
};

/// The permissions of a new file: for this user alone.
inline constexpr mode_t kPrivateFile = 0600;

/// The error in `errno`.
std::error_code lastError();

/// An open file or folder.
///
/// Ownership: closes its descriptor when it is destroyed.
class File {
 public:
  File() = default;
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  ~File() { close(); }

  /// Opens `path`, which must be a regular file unless `flags` ask for a folder, and reads its status. Does not block
  /// on a pipe or a device. A new file is private to the user. A relative path begins at `folder`, a descriptor.
  std::error_code open(FileOperations& files, const std::string& path, int flags, int folder = AT_FDCWD);

  /// Opens whatever `path` names. Does not read its status.
  std::error_code openAny(FileOperations& files, const std::string& path, int flags, mode_t mode,
                          int folder = AT_FDCWD);

  bool isOpen() const { return descriptor_ >= 0; }
  int descriptor() const { return descriptor_; }
  std::error_code close();

  /// The status when the file was opened.
  const struct ::stat& status() const { return status_; }

 private:
  FileOperations* files_ = nullptr;
  int descriptor_ = -1;
  struct ::stat status_ {};
};

/// What changes when the content of a file does, or when another file takes its path.
struct FileState {
  dev_t device;
  ino_t inode;
  off_t size;
  std::chrono::nanoseconds modified;
  std::chrono::nanoseconds changed;

  friend bool operator==(const FileState&, const FileState&) = default;
};

/// Nothing when the status of the file cannot be read.
std::optional<FileState> stateOf(FileOperations& files, const std::string& path);

/// Reads up to `size` bytes, and fewer only at the end of the file. `size` becomes the number of bytes read.
std::error_code readUpTo(FileOperations& files, int descriptor, char* buffer, std::size_t& size);

/// Writes all of `bytes`, and continues after an interrupted and after a partial write.
std::error_code writeAll(FileOperations& files, int descriptor, std::string_view bytes);

/// The same; `written` becomes the number of bytes that were written, also after a failure.
std::error_code writeAll(FileOperations& files, int descriptor, std::string_view bytes, std::size_t& written);

/// Creates the folder, and the missing folders above it, private to the user.
std::error_code makeFolders(FileOperations& files, const std::string& folder);

}  // namespace sqm::platform
