#include "sqm/platform/files/SystemAppendFile.h"

#include <algorithm>
#include <fcntl.h>
#include <memory>
#include <new>
#include <utility>

#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

SystemAppendFile::SystemAppendFile(std::string path, Options options, FileOperations& operations)
    : path_(std::move(path)), options_(std::move(options)), operations_(operations) {}

SystemAppendFile::~SystemAppendFile() {
  {
    const std::lock_guard lock(mutex_);
    ends_ = true;
  }
  changed_.notify_one();
  if (thread_.joinable()) thread_.join();
}

std::error_code SystemAppendFile::readPieces(const Taker& take) {
  constexpr std::size_t kPiece = std::size_t{1} << 16;  // remains in the processor's cache
  File file;
  if (const auto problem = file.open(operations_, path_, O_RDONLY)) return problem;
  try {
    const auto buffer = std::make_unique_for_overwrite<char[]>(kPiece);
    auto toCome = static_cast<std::uintmax_t>(file.status().st_size);
    for (std::size_t size = kPiece; size == kPiece;) {
      if (const auto problem = readUpTo(operations_, file.descriptor(), buffer.get(), size)) return problem;
      toCome -= std::min<std::uintmax_t>(toCome, size);
      take({buffer.get(), size}, toCome);
    }
  } catch (const std::bad_alloc&) {
    return make_error_code(std::errc::not_enough_memory);
  }
  return {};
}

std::error_code SystemAppendFile::open() {
  checked_ = options_.now();
  const std::lock_guard lock(fileMutex_);
  return file_.open(operations_, path_, O_WRONLY | O_APPEND);
}

void SystemAppendFile::close() {
  const std::lock_guard lock(fileMutex_);
  file_.close();
}

/// A look at the path before each line would double the cost of appending it.
bool SystemAppendFile::isStale() {
  const auto now = options_.now();
  if (now - checked_ < std::chrono::seconds(1)) return false;
  checked_ = now;
  struct ::stat atPath {};
  const struct ::stat& opened = file_.status();
  return operations_.stat(path_, atPath) != 0 || atPath.st_dev != opened.st_dev || atPath.st_ino != opened.st_ino;
}

std::error_code SystemAppendFile::append(std::string_view bytes, std::size_t& written) {
  written = 0;
  if (file_.isOpen() && isStale()) {
    close();
    return make_error_code(std::errc::no_such_file_or_directory);
  }
  if (!file_.isOpen()) {
    if (const auto problem = open()) return problem;
  }
  return writeAll(operations_, file_.descriptor(), bytes, written);
}

std::error_code SystemAppendFile::sync() {
  if (!file_.isOpen()) return {};
  if (options_.syncWithin == std::chrono::milliseconds::zero()) return syncFile(operations_, file_);
  {
    const std::lock_guard lock(mutex_);
    if (groupFailure_) return std::exchange(groupFailure_, {});
    if (due_) return {};
    due_ = std::chrono::steady_clock::now() + options_.syncWithin;
  }
  if (thread_.joinable()) {
    changed_.notify_one();
  } else {
    try {
      thread_ = std::thread(&SystemAppendFile::syncInGroups, this);
    } catch (const std::system_error&) {
      const std::lock_guard lock(mutex_);
      due_.reset();
      return syncFile(operations_, file_);
    }
  }
  return {};
}

void SystemAppendFile::syncInGroups() {
  std::unique_lock lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ends_ || due_; });
    if (!due_) return;
    changed_.wait_until(lock, *due_, [this] { return ends_; });
    due_.reset();  // what is appended from here on belongs to the next group
    lock.unlock();
    std::error_code problem;
    {
      const std::lock_guard fileLock(fileMutex_);
      if (file_.isOpen()) problem = syncFile(operations_, file_);
    }
    lock.lock();
    if (problem) groupFailure_ = problem;
  }
}

std::error_code SystemAppendFile::replace(std::string_view content, bool synced, bool& isReplaced) {
  using Mode = FileReplacement::Mode;
  FileReplacement replacement(operations_, path_, synced ? Mode::atomically : Mode::atomicallyUnsynced);
  replacement.write(content);
  const std::error_code problem = replacement.commit();
  isReplaced = replacement.isReplaced();
  if (isReplaced) close();
  return problem;
}

std::error_code SystemAppendFile::moveAside() {
  close();
  std::string aside;
  return platform::moveAside(operations_, path_, ".aside", aside);
}

}  // namespace sqm::platform
