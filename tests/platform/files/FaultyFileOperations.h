#pragma once

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <signal.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform::test {

/// A fault of one call.
struct Fault {
  enum class Kind { none, fails, writesHalf, killsBefore, killsHalfway, killsAfter };
  Kind kind = Kind::none;
  std::size_t call = 0;  ///< which one, counted from 1
  int error = 0;
};

/// The system's operations, with a fault at the n-th call. Records the names of the calls.
class FaultyFileOperations : public FileOperations {
 public:
  FaultyFileOperations() = default;
  explicit FaultyFileOperations(Fault fault) : fault_(fault) {}

  /// The names of the calls so far.
  const std::vector<std::string>& calls() const { return calls_; }
  /// The bytes of the largest write.
  std::size_t largestWrite() const { return largestWrite_; }

  int openat(int folder, const std::string& path, int flags, mode_t mode) override {
    return call("open", [&] { return system_.openat(folder, path, flags, mode); });
  }
  ssize_t getdents(int folder, void* buffer, std::size_t size) override {
    return call("getdents", [&] { return system_.getdents(folder, buffer, size); });
  }
  ssize_t read(int descriptor, void* buffer, std::size_t size) override {
    return call("read", [&] { return system_.read(descriptor, buffer, size); });
  }
  ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t from) override {
    return call("pread", [&] { return system_.pread(descriptor, buffer, size, from); });
  }
  ssize_t write(int descriptor, const void* bytes, std::size_t size) override {
    largestWrite_ = std::max(largestWrite_, size);
    return call("write", [&] {
      if (!hasFault(Fault::Kind::writesHalf) && !hasFault(Fault::Kind::killsHalfway)) {
        return system_.write(descriptor, bytes, size);
      }
      const ssize_t written = system_.write(descriptor, bytes, (size + 1) / 2);
      if (hasFault(Fault::Kind::killsHalfway)) killProcess();
      return written;
    });
  }
  int fstat(int descriptor, struct ::stat& status) override {
    return call("fstat", [&] { return system_.fstat(descriptor, status); });
  }
  int ftruncate(int descriptor, off_t length) override {
    return call("ftruncate", [&] { return system_.ftruncate(descriptor, length); });
  }
  int futimens(int descriptor, const struct ::timespec& modified) override {
    return call("futimens", [&] { return system_.futimens(descriptor, modified); });
  }
  int fsync(int descriptor) override {
    return call("fsync", [&] { return system_.fsync(descriptor); });
  }
  int lock(int descriptor, pid_t& owner) override {
    return call("lock", [&] { return system_.lock(descriptor, owner); });
  }
  int close(int descriptor) override {
    const int result = call("close", [&] { return system_.close(descriptor); });
    if (hasFault(Fault::Kind::fails)) {  // a failing close also closes the descriptor
      system_.close(descriptor);
      errno = fault_.error;
    }
    return result;
  }
  int stat(const std::string& path, struct ::stat& status) override {
    return call("stat", [&] { return system_.stat(path, status); });
  }
  int rename(const std::string& from, const std::string& to) override {
    return call("rename", [&] { return system_.rename(from, to); });
  }
  int unlinkat(int folder, const std::string& path, int flags) override {
    return call("unlink", [&] { return system_.unlinkat(folder, path, flags); });
  }
  int mkdir(const std::string& path, mode_t mode) override {
    return call("mkdir", [&] { return system_.mkdir(path, mode); });
  }

 private:
  bool hasFault(Fault::Kind kind) const { return fault_.kind == kind && fault_.call == calls_.size(); }

  static void killProcess() { ::kill(::getpid(), SIGKILL); }

  template <typename Operation>
  auto call(const char* name, Operation&& operation) -> decltype(operation()) {
    calls_.emplace_back(name);
    if (hasFault(Fault::Kind::killsBefore)) killProcess();
    if (hasFault(Fault::Kind::fails)) {
      errno = fault_.error;
      return -1;
    }
    const auto result = operation();
    if (hasFault(Fault::Kind::killsAfter)) killProcess();
    return result;
  }

  FileOperations& system_ = FileOperations::posix();
  Fault fault_;
  std::vector<std::string> calls_;
  std::size_t largestWrite_ = 0;
};

}  // namespace sqm::platform::test
