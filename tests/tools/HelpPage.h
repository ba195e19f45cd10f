#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// The long options that a page of --help lists.
inline std::vector<std::string> optionsOf(const std::string& help) {
  std::vector<std::string> options;
  for (std::size_t at = help.find("\n  --"); at != std::string::npos; at = help.find("\n  --", at + 1)) {
    options.push_back(help.substr(at + 3, help.find_first_of(" \n{", at + 3) - at - 3));
  }
  return options;
}

/// An option as a page of the manual writes it.
inline std::string asInManual(const std::string& option) {
  std::string text;
  for (const char c : option) text += c == '-' ? "\\-" : std::string(1, c);
  return text;
}
