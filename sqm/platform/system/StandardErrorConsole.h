#pragma once

#include <string_view>

#include "sqm/common/SystemConsole.h"

namespace sqm::platform {

/// Standard error as the system's log: a line is written by one call, so that lines of several threads stay whole.
class StandardErrorConsole : public SystemConsole {
 public:
  void writeLine(std::string_view text) override;
};

}  // namespace sqm::platform
