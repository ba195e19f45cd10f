#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/Paths.h"

/// The text of a file in tests/golden, without the line feed at its end.
inline std::string goldenText(const std::string& file) {
  std::ifstream stream(paths::golden() + "/" + file, std::ios::binary);
  if (!stream) throw std::runtime_error("there is no golden text " + file);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

/// Expects the content of a file in tests/golden. `./run golden` names a folder in SQM_GOLDEN_ACTUAL: the actual
/// content is then also written to the same path in it.
inline void expectGoldenFile(const std::string& actual, const std::string& file) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): the tests' main thread, and nothing changes the environment
  if (const char* folder = std::getenv("SQM_GOLDEN_ACTUAL"); folder != nullptr) {
    const std::filesystem::path path = std::filesystem::path(folder) / file;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << actual;
  }
  std::ifstream stream(paths::golden() + "/" + file, std::ios::binary);
  EXPECT_EQ(actual, std::string(std::istreambuf_iterator<char>(stream), {})) << "tests/golden/" << file;
}
