#pragma once

#include <string_view>

namespace sqm {

/// The system's log, for the few lines that are written there and not to a log file.
///
/// Threading: any thread. Failure: ignored.
class SystemConsole {
 public:
  virtual ~SystemConsole() = default;
  virtual void writeLine(std::string_view text) = 0;
};

}  // namespace sqm
