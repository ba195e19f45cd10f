#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "sqm/common/LogFile.h"
#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform {

/// Log files in one folder, limited in size: a file that is full becomes "NAME.1", and so on, and the oldest goes. The
/// folder is made when the first log is opened. Folder and files are their user's alone.
///
/// A line is "2026-11-21T10:00:00.000Z USER 2 text", its time in UTC, and is in the file when `write` returns, whatever
/// becomes of the process. A file that was deleted or moved away is made anew within a second. A text that is too long
/// is cut, with a note of how many bytes were left out.
///
/// Ownership: the logs share their file and may outlive the factory, but not the file operations.
/// Threading: any thread. Failure: a log that cannot be opened is null; a line that cannot be written is lost.
class LogFiles : public LogFileFactory {
 public:
  struct Options {
    std::string folder;
    std::size_t fileSize = std::size_t{1} << 20;  ///< bytes that a file may grow to
    std::size_t files = 3;                        ///< for each log, the growing one included; none means one
    std::size_t textSize = std::size_t{1} << 16;  ///< bytes of the longest text; 0: no limit
    std::function<std::chrono::system_clock::time_point()> now = std::chrono::system_clock::now;
  };

  explicit LogFiles(Options options, FileOperations& files = FileOperations::posix());
  LogFiles(const LogFiles&) = delete;
  LogFiles& operator=(const LogFiles&) = delete;
  ~LogFiles() override;

  /// `file` is a plain name: what is empty or holds a separator names no log.
  std::unique_ptr<LogFile> initWithFile(std::string_view file, int logLevel) override;

 private:
  class SharedLog;
  class Log;
  struct OpenLogs;

  Options options_;
  FileOperations& files_;
  std::unique_ptr<OpenLogs> open_;
};

}  // namespace sqm::platform
