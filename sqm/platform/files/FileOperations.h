#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/types.h>
#include <system_error>

namespace sqm::platform {

/// The system calls under all file work of the platform, one operation each, so that a test can make any of them fail.
/// Results are the system's: -1 with the reason in `errno`.
///
/// Threading: any thread.
class FileOperations {
 public:
  virtual ~FileOperations() = default;

  /// The system's own operations. Every descriptor is closed on exec. A path that holds a NUL is refused.
  static FileOperations& posix();

  virtual int open(const std::string& path, int flags, mode_t mode) = 0;
  virtual ssize_t read(int descriptor, void* buffer, std::size_t size) = 0;
  virtual ssize_t write(int descriptor, const void* bytes, std::size_t size) = 0;
  virtual int fstat(int descriptor, struct ::stat& status) = 0;
  virtual int ftruncate(int descriptor, off_t length) = 0;
  virtual int fsync(int descriptor) = 0;
  virtual int close(int descriptor) = 0;
  virtual int stat(const std::string& path, struct ::stat& status) = 0;
  virtual int rename(const std::string& from, const std::string& to) = 0;
  virtual int unlink(const std::string& path) = 0;
  virtual int mkdir(const std::string& path, mode_t mode) = 0;
};

/// What `errno` says.
std::error_code lastError();

/// An open file, closed at the end of its life.
class File {
 public:
  File() = default;
  File(File&& other) noexcept;
  File& operator=(File&& other) noexcept;
  ~File() { close(); }

  /// Opens `path`, which must be a regular file unless `flags` ask for a directory, and tells what it is. Neither a
  /// pipe without a peer nor a device can hold the caller up. A new file is its user's alone.
  std::error_code open(FileOperations& files, const std::string& path, int flags);

  bool isOpen() const { return descriptor_ >= 0; }
  int descriptor() const { return descriptor_; }
  /// The state of the file when it was opened.
  const struct ::stat& status() const { return status_; }
  std::error_code close();

 private:
  FileOperations* files_ = nullptr;
  int descriptor_ = -1;
  struct ::stat status_ {};
};

/// Writes all of `bytes`, whatever interrupts or shortens a call.
std::error_code writeAll(FileOperations& files, int descriptor, std::string_view bytes);

/// Makes the folder and those above it, its user's alone, where they are missing.
std::error_code makeFolders(FileOperations& files, const std::string& folder);

}  // namespace sqm::platform
