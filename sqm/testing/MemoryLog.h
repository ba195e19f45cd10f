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
/// Threading: any thread. Ownership: the logs share what they wrote with the factory, which may go first.
class MemoryLogs : public LogFileFactory {
 public:
  MemoryLogs();

  std::unique_ptr<LogFile> initWithFile(std::string_view file, int logLevel) override;

  /// What was written to the file, in order; empty for a file that was never opened.
  std::vector<std::string> lines(std::string_view file) const;

  /// From now on no log of this name can be opened.
  void refuse(std::string_view file);

 private:
  struct Files;
  class MemoryLogFile;
  std::shared_ptr<Files> files_;
};

}  // namespace sqm::testing
