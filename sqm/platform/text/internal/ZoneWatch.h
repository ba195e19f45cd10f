#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>

namespace sqm::platform {

/// Detects that the system's zone may have changed: the variable TZ or, while it is not set, a file. The variable is
/// compared in every call; the file, which takes a system call, once a second.
///
/// Threading: one thread at a time.
class ZoneWatch {
 public:
  using Time = std::chrono::steady_clock::time_point;

  explicit ZoneWatch(std::string path = "/etc/localtime") : path_(std::move(path)) {}

  /// True when the setting differs from the one of the last call that returned true, and in the first call.
  bool hasChanged(Time now);

 private:
  struct File {
    dev_t device = 0;
    ino_t number = 0;  // 0: there is no such file
    std::int64_t seconds = 0;
    std::int64_t nanoseconds = 0;

    friend bool operator==(const File&, const File&) = default;
  };

  File file() const;

  const std::string path_;
  bool isFirst_ = true;
  std::optional<std::string> variable_;
  File file_;
  Time compared_;
};

}  // namespace sqm::platform
