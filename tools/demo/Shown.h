#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include "tools/support/Terminal.h"

namespace demo {

/// Prints the demonstration for a person to read: coloured on a terminal, plain elsewhere.
class Shown {
 public:
  void title(std::string_view text) const;
  void note(std::string_view text) const;
  void aside(std::string_view text) const;
  void good(std::string_view text) const;
  void bad(std::string_view text) const;

  /// An XML text, a line for each element, indented. What is no XML is printed as it stands.
  void xml(const std::string& text) const;

  /// A JSON text, a line for each value, indented. What is no JSON is printed as it stands.
  void json(const std::string& text) const;

 private:
  void line(tools::Style style, std::string_view text) const;

  tools::Terminal terminal_{stdout};
};

}  // namespace demo
