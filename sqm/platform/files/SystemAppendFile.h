#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "sqm/common/AppendFile.h"
#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform {

/// An `AppendFile` on the system's disk, private to the user.
///
/// Ownership: `operations` is borrowed.
/// Threading: one thread. With `syncWithin` a thread of the object's own syncs; it starts with the first sync.
class SystemAppendFile final : public AppendFile {
 public:
  struct Options {
    /// Zero: `sync` returns when the bytes are on the disk. Else it returns at once and they are there after this time;
    /// when that fails, the next `sync` returns the reason.
    std::chrono::milliseconds syncWithin{0};
    /// The time at which the file's identity is checked again, once in a second.
    std::function<std::chrono::steady_clock::time_point()> now = std::chrono::steady_clock::now;
  };

  SystemAppendFile(std::string path, Options options, FileOperations& operations = FileOperations::posix());
  explicit SystemAppendFile(std::string path) : SystemAppendFile(std::move(path), Options{}) {}
  SystemAppendFile(const SystemAppendFile&) = delete;
  SystemAppendFile& operator=(const SystemAppendFile&) = delete;
  /// Syncs what is to be synced.
  ~SystemAppendFile() override;

  std::error_code readPieces(const Taker& take) override;
  std::error_code append(std::string_view bytes, std::size_t& written) override;
  std::error_code sync() override;
  std::error_code replace(std::string_view content, bool synced, bool& isReplaced) override;
  std::error_code moveAside() override;

 private:
  std::error_code open();
  void close();
  bool isStale();
  void syncInGroups();

  std::string path_;
  Options options_;
  FileOperations& operations_;
  std::mutex fileMutex_;  // held while `file_` is opened, closed, or synced by the thread
  File file_;
  std::chrono::steady_clock::time_point checked_{};

  std::mutex mutex_;  // guards what follows
  std::condition_variable changed_;
  std::optional<std::chrono::steady_clock::time_point> due_;  // when the next group is synced
  std::error_code groupFailure_;
  bool ends_ = false;
  std::thread thread_;
};

}  // namespace sqm::platform
