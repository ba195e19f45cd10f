#pragma once

#include <functional>
#include <string_view>

#include "sqm/testing/FakeServices.h"

/// A console in memory that calls a function after each line.
class ObservedConsole : public sqm::testing::MemoryConsole {
 public:
  void writeLine(std::string_view text) override {
    MemoryConsole::writeLine(text);
    if (onLine) onLine(text);
  }

  std::function<void(std::string_view)> onLine;
};
