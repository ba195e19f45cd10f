#pragma once

#include <string>
#include <string_view>

namespace demo {

/// Prints the demonstration for a person to read: coloured on a terminal, plain elsewhere.
class Shown {
 public:
  Shown();

  void title(std::string_view text) const;
  void note(std::string_view text) const;
  void aside(std::string_view text) const;
  void good(std::string_view text) const;
  void bad(std::string_view text) const;

  /// An XML text, a line for each element, indented. What is no XML is printed as it stands.
  void xml(const std::string& text) const;

 private:
  void line(std::string_view colour, std::string_view text) const;

  bool isColoured_;
};

}  // namespace demo
