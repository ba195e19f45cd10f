#include "sqm/platform/files/FileOperations.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

#include "sqm/platform/system/internal/FolderEntries.h"

namespace sqm::platform {

namespace {

constexpr mode_t kPrivateFolder = 0700;

/// Calls `operation` with the path as a C string, in which a NUL would end it.
template <typename Operation>
int withPath(const std::string& path, Operation&& operation) {
  if (path.find('\0') != std::string::npos) {
    errno = EINVAL;
    return -1;
  }
  return operation(path.c_str());
}

class PosixFileOperations : public FileOperations {
 public:
  int openat(int folder, const std::string& path, int flags, mode_t mode) override {
    return withPath(path, [&](const char* name) { return ::openat(folder, name, flags | O_CLOEXEC, mode); });
  }
  ssize_t read(int descriptor, void* buffer, std::size_t size) override { return ::read(descriptor, buffer, size); }
  ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t from) override {
    return ::pread(descriptor, buffer, size, from);
  }
  ssize_t write(int descriptor, const void* bytes, std::size_t size) override {
    return ::write(descriptor, bytes, size);
  }
  ssize_t getdents(int folder, void* buffer, std::size_t size) override {
    return readFolderEntries(folder, buffer, size);
  }
  int fstat(int descriptor, struct ::stat& status) override { return ::fstat(descriptor, &status); }
  int ftruncate(int descriptor, off_t length) override { return ::ftruncate(descriptor, length); }
  int futimens(int descriptor, const struct ::timespec& modified) override {
    const struct ::timespec times[] = {{0, UTIME_OMIT}, modified};
    return ::futimens(descriptor, times);
  }
  int fsync(int descriptor) override { return ::fsync(descriptor); }
  int lock(int descriptor, pid_t& owner) override {
    struct ::flock whole {};
    whole.l_type = F_WRLCK;
    whole.l_whence = SEEK_SET;
    if (::fcntl(descriptor, F_SETLK, &whole) == 0) return 0;
    const int error = errno == EACCES ? EAGAIN : errno;  // POSIX allows both
    const bool isKnown = ::fcntl(descriptor, F_GETLK, &whole) == 0 && whole.l_type != F_UNLCK && whole.l_pid > 0;
    owner = isKnown ? whole.l_pid : 0;
    errno = error;
    return -1;
  }
  int close(int descriptor) override { return ::close(descriptor); }
  int stat(const std::string& path, struct ::stat& status) override {
    return withPath(path, [&](const char* name) { return ::stat(name, &status); });
  }
  int rename(const std::string& from, const std::string& to) override {
    return withPath(from, [&](const char* oldName) {
      return withPath(to, [&](const char* newName) { return ::rename(oldName, newName); });
    });
  }
  int unlinkat(int folder, const std::string& path, int flags) override {
    return withPath(path, [&](const char* name) { return ::unlinkat(folder, name, flags); });
  }
  int mkdir(const std::string& path, mode_t mode) override {
    return withPath(path, [&](const char* name) { return ::mkdir(name, mode); });
  }
};

/// Creates the folder unless it exists. The folder above it must exist.
std::error_code makeFolder(FileOperations& files, const std::string& folder) {
  if (files.mkdir(folder, kPrivateFolder) == 0) return {};
  if (errno != EEXIST) return lastError();
  struct ::stat there {};
  if (files.stat(folder, there) != 0) return lastError();
  return S_ISDIR(there.st_mode) ? std::error_code() : make_error_code(std::errc::not_a_directory);
}

std::chrono::nanoseconds durationOf(const struct ::timespec& time) {
  return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

}  // namespace

FileOperations& FileOperations::posix() {
  static PosixFileOperations operations;
  return operations;
}

int FileOperations::open(const std::string& path, int flags, mode_t mode) {
  return openat(AT_FDCWD, path, flags, mode);
}

int FileOperations::unlink(const std::string& path) { return unlinkat(AT_FDCWD, path, 0); }

std::error_code lastError() { return {errno, std::generic_category()}; }

File::File(File&& other) noexcept { *this = std::move(other); }

File& File::operator=(File&& other) noexcept {
  std::swap(files_, other.files_);
  std::swap(descriptor_, other.descriptor_);
  std::swap(status_, other.status_);
  return *this;
}

std::error_code File::openAny(FileOperations& files, const std::string& path, int flags, mode_t mode, int folder) {
  close();
  files_ = &files;
  do {
    descriptor_ = files.openat(folder, path, flags, mode);
  } while (descriptor_ < 0 && errno == EINTR);
  return isOpen() ? std::error_code() : lastError();
}

std::error_code File::open(FileOperations& files, const std::string& path, int flags, int folder) {
  auto problem = openAny(files, path, flags | O_NONBLOCK | O_NOCTTY, kPrivateFile, folder);
  if (problem) return problem;
  if (files.fstat(descriptor_, status_) != 0) {
    problem = lastError();
  } else if ((flags & O_DIRECTORY) == 0 && !S_ISREG(status_.st_mode)) {
    problem =
        make_error_code(S_ISDIR(status_.st_mode) ? std::errc::is_a_directory : std::errc::operation_not_supported);
  }
  if (problem) close();
  return problem;
}

std::error_code File::close() {
  if (!isOpen()) return {};
  // The descriptor is closed whatever the result, EINTR included.
  if (files_->close(std::exchange(descriptor_, -1)) == 0 || errno == EINTR) return {};
  return lastError();
}

std::optional<FileState> stateOf(FileOperations& files, const std::string& path) {
  struct ::stat status {};
  if (files.stat(path, status) != 0) return std::nullopt;
  return FileState{status.st_dev, status.st_ino, status.st_size, durationOf(status.st_mtim),
                   durationOf(status.st_ctim)};
}

std::error_code readUpTo(FileOperations& files, int descriptor, char* buffer, std::size_t& size) {
  const std::size_t wanted = std::exchange(size, 0);
  while (size < wanted) {
    const ssize_t got = files.read(descriptor, buffer + size, wanted - size);
    if (got == 0) break;
    if (got > 0) {
      size += static_cast<std::size_t>(got);
    } else if (errno != EINTR) {
      return lastError();
    }
  }
  return {};
}

std::error_code writeAll(FileOperations& files, int descriptor, std::string_view bytes) {
  std::size_t written = 0;
  return writeAll(files, descriptor, bytes, written);
}

std::error_code writeAll(FileOperations& files, int descriptor, std::string_view bytes, std::size_t& written) {
  written = 0;
  while (written < bytes.size()) {
    const ssize_t some = files.write(descriptor, bytes.data() + written, bytes.size() - written);
    if (some > 0) {
      written += static_cast<std::size_t>(some);
    } else if (some == 0) {
      return make_error_code(std::errc::io_error);
    } else if (errno != EINTR) {
      return lastError();
    }
  }
  return {};
}

std::error_code makeFolders(FileOperations& files, const std::string& folder) {
  const auto problem = makeFolder(files, folder);
  if (problem != std::errc::no_such_file_or_directory) return problem;
  const std::size_t separator = folder.find_last_of('/');
  if (separator == std::string::npos || separator == 0) return problem;
  if (const auto above = makeFolders(files, folder.substr(0, separator))) return above;
  return makeFolder(files, folder);
}

}  // namespace sqm::platform
