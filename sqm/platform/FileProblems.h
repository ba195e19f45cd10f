#pragma once

#include <new>
#include <string_view>

#include "sqm/common/LogFile.h"

namespace sqm::platform {

/// Tells the host's log "SQMFiles.log" what went wrong with a file, in one line each. The log is opened when there is
/// something to tell; without the memory for it, nothing is told.
///
/// Threading: as that of the factory, which must outlive the object.
class FileProblems {
 public:
  explicit FileProblems(LogFileFactory& logs) : logs_(logs) {}

  void cannotRead(std::string_view path, std::string_view reason) const { report("cannot read %@: %@", path, reason); }
  void cannotWrite(std::string_view path, std::string_view reason) const {
    report("cannot write %@: %@", path, reason);
  }

 private:
  void report(std::string_view format, std::string_view path, std::string_view reason) const try {
    constexpr int kLevel = 2;
    const auto log = logs_.initWithFile("SQMFiles.log", kLevel);
    if (log) log->writeLogToFileWithInfo("USER", kLevel, format, {path, reason});
  } catch (const std::bad_alloc&) {
  }

  LogFileFactory& logs_;
};

}  // namespace sqm::platform
