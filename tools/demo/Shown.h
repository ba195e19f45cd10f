#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "tools/support/Terminal.h"

namespace demo {

/// Prints the demonstration: coloured on a terminal, plain elsewhere.
class Shown {
 public:
  void title(std::string_view text) const;
  void note(std::string_view text) const;
  void aside(std::string_view text) const;
  void verdict(bool isGood, std::string_view text) const;

  /// Prints an XML text indented, one line for each element. A text that is not XML is printed unchanged.
  void xml(const std::string& text) const;

  /// Prints a JSON text indented, one line for each value. A text that is not JSON is printed unchanged.
  void json(const std::string& text) const;

 private:
  void line(tools::Style style, std::string_view text) const;

  tools::Terminal terminal_{stdout};
};

}  // namespace demo
