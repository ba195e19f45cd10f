#pragma once

#include <string_view>

#include "sqm/common/SystemConsole.h"

namespace sqm::platform {

/// Writes the lines to standard error, each by one system call, so that lines of several threads are not mixed.
class StandardErrorConsole : public SystemConsole {
 public:
  void writeLine(std::string_view text) override;
};

}  // namespace sqm::platform
