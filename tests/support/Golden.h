#pragma once

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "tests/support/Paths.h"

/// The text of a file in tests/golden, without the line feed that ends it.
inline std::string goldenText(const std::string& file) {
  std::ifstream stream(paths::golden() + "/" + file, std::ios::binary);
  if (!stream) throw std::runtime_error("there is no golden text " + file);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (text.ends_with('\n')) text.pop_back();
  return text;
}
