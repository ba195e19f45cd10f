#pragma once

#include <string_view>

namespace sqm {

/// The system's own log, for the few lines that go there.
///
/// Threading: any thread. Failure: silent.
class SystemConsole {
 public:
  virtual ~SystemConsole() = default;
  virtual void writeLine(std::string_view text) = 0;
};

}  // namespace sqm
