#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tools/support/TemporaryFolder.h"

using tools::TemporaryFolder;

inline std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void putContent(const std::string& path, std::string_view content) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  if (!file.flush()) ADD_FAILURE() << "cannot write " << path;
}

inline std::filesystem::perms permissionsOf(const std::string& path) {
  return std::filesystem::status(path).permissions();
}
