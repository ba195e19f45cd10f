#pragma once

#include <cstdio>
#include <string>

#include <gtest/gtest.h>

namespace sqm::platform::test {

/// Runs a shell command, which must succeed. Returns what it printed.
inline std::string printedBy(const std::string& command) {
  std::FILE* pipe = ::popen(command.c_str(), "r");
  if (pipe == nullptr) {
    ADD_FAILURE() << "cannot run " << command;
    return {};
  }
  std::string printed;
  char part[4096];
  for (std::size_t got = 0; (got = std::fread(part, 1, sizeof part, pipe)) > 0;) printed.append(part, got);
  EXPECT_EQ(::pclose(pipe), 0) << command;
  return printed;
}

}  // namespace sqm::platform::test
