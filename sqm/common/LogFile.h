#pragma once

#include <initializer_list>
#include <memory>
#include <span>
#include <string_view>

namespace sqm {

/// The level of every line that the library writes and of every log file that it opens.
inline constexpr int kLogLevel = 2;

/// One line for a log file. `arguments` replace the placeholders in `format` (see Format.h).
struct LogLine {
  std::string_view info;  ///< category: "USER" or "DEBUG"
  int userLevel;          ///< the line is written if this is not above the level of the file
  std::string_view format;
  std::span<const std::string_view> arguments;
};

/// A log file of one component.
///
/// Threading: `write` may be called from any thread.
/// Failure: never throws and never reports; a line that cannot be written is lost.
class LogFile {
 public:
  virtual ~LogFile() = default;

  virtual void write(const LogLine& line) = 0;

  void writeLogToFileWithInfo(std::string_view info, int userLevel, std::string_view fmt,
                              std::initializer_list<std::string_view> arguments = {}) {
    write({info, userLevel, fmt, {arguments.begin(), arguments.size()}});
  }
};

/// Opens log files. Their folder, size limit and line format are the host's choice.
///
/// Threading: any thread.
class LogFileFactory {
 public:
  virtual ~LogFileFactory() = default;

  /// Opens the log file `file` (a file name without a folder) for lines up to level `logLevel`. Null when it cannot be
  /// opened. Several logs of one name write to the same file, each line whole.
  virtual std::unique_ptr<LogFile> initWithFile(std::string_view file, int logLevel) = 0;
};

}  // namespace sqm
