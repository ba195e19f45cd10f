#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/common/LogFile.h"

namespace sqm::testing {

/// Log files that keep their lines in memory, as "INFO LEVEL text".
///
/// Ownership: the logs share their lines with the factory, which may be destroyed first.
/// Threading: any thread.
class MemoryLogs : public LogFileFactory {
 public:
  MemoryLogs();

  std::unique_ptr<LogFile> initWithFile(std::string_view file, int logLevel) override;

  /// The lines of the file, in order; none for a file that was never opened.
  std::vector<std::string> lines(std::string_view file) const;

  /// No log of this name can be opened from now on.
  void refuse(std::string_view file);

 private:
  struct Files;
  class MemoryLogFile;
  std::shared_ptr<Files> files_;
};

}  // namespace sqm::testing
