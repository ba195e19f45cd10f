#pragma once

#include <initializer_list>
#include <memory>
#include <span>
#include <string_view>

namespace sqm {

/// One line for a log file. `arguments` take the places of the placeholders in `format` (see Format.h).
struct LogLine {
  std::string_view info;  ///< category: "USER" or "DEBUG"
  int userLevel;          ///< written when not above the level of the file
  std::string_view format;
  std::span<const std::string_view> arguments;
};

/// A log file of one component.
///
/// Threading: `write` may be called from any thread.
/// Failure: never throws and never reports; what cannot be written is lost.
class LogFile {
 public:
  virtual ~LogFile() = default;

  virtual void write(const LogLine& line) = 0;

  void writeLogToFileWithInfo(std::string_view info, int userLevel, std::string_view fmt,
                              std::initializer_list<std::string_view> arguments = {}) {
    write({info, userLevel, fmt, {arguments.begin(), arguments.size()}});
  }
};

/// Opens log files. Where they lie, how long they grow and how a line looks is the host's business.
class LogFileFactory {
 public:
  virtual ~LogFileFactory() = default;

  /// The log file called `file` (a plain file name), which takes lines up to `logLevel`; null when it cannot be opened.
  /// Several logs may be open under one name; their lines stand in the same file, whole.
  virtual std::unique_ptr<LogFile> initWithFile(std::string_view file, int logLevel) = 0;
};

}  // namespace sqm
