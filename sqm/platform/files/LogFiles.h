#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "sqm/common/LogFile.h"
#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform {

/// Log files in one folder, with a size limit: a full file is renamed to "NAME.1", an earlier "NAME.1" to "NAME.2", and
/// so on; the oldest is deleted. The folder is created when the first log is opened. Only the user can read the folder
/// and the files.
///
/// A line is "2026-11-21T10:00:00.000Z USER 2 text", with the time in UTC. It is in the file when `write` returns, even
/// if the process is killed then. A file that was deleted or renamed by others is created again within a second. A text
/// that is too long is cut and followed by the number of bytes left out.
///
/// Ownership: logs of one name share their file. They may outlive the factory, but not the file operations.
/// Threading: any thread. Failure: a log that cannot be opened is null; a line that cannot be written is lost.
class LogFiles : public LogFileFactory {
 public:
  struct Options {
    std::string folder;
    std::size_t fileSize = std::size_t{1} << 20;  ///< bytes of the largest file
    std::size_t files = 3;                        ///< for each log, the growing one included; 0 means 1
    std::size_t textSize = std::size_t{1} << 16;  ///< bytes of the longest text; 0: no limit
    std::function<std::chrono::system_clock::time_point()> now = std::chrono::system_clock::now;
  };

  explicit LogFiles(Options options, FileOperations& files = FileOperations::posix());
  LogFiles(const LogFiles&) = delete;
  LogFiles& operator=(const LogFiles&) = delete;
  ~LogFiles() override;

  /// Null for a name that is empty or contains a path separator.
  std::unique_ptr<LogFile> initWithFile(std::string_view file, int logLevel) override;

  /// Without it, lines are dropped until it is set again.
  void setMayLog(bool mayLog) { *mayLog_ = mayLog; }

 private:
  class SharedLog;
  class Log;
  struct OpenLogs;

  Options options_;
  FileOperations& files_;
  const std::shared_ptr<std::atomic<bool>> mayLog_ = std::make_shared<std::atomic<bool>>(true);
  std::unique_ptr<OpenLogs> open_;
};

}  // namespace sqm::platform
