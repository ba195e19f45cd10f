#pragma once

#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Paths.h"

namespace sqm::platform::test {

/// Python's plistlib, run as a process of its own: another reader and writer to compare with.
class PythonPropertyLists {
 public:
  /// The strings of the list; nothing in the place of what is no string.
  static std::vector<std::optional<std::string>> read(const std::string& path) {
    const std::string printed = run("read '" + path + "'", "r", [](std::FILE* output) {
      std::string all;
      char part[4096];
      for (std::size_t got = 0; (got = std::fread(part, 1, sizeof part, output)) > 0;) all.append(part, got);
      return all;
    });
    std::vector<std::optional<std::string>> strings;
    for (std::size_t at = 0; at < printed.size();) {
      if (printed[at] == '-') {
        strings.emplace_back();
        ++at;
        continue;
      }
      const std::size_t colon = printed.find(':', at);
      const std::size_t length = std::stoul(printed.substr(at, colon - at));
      strings.emplace_back(printed.substr(colon + 1, length));
      at = colon + 1 + length;
    }
    return strings;
  }

  /// `format`: "xml" or "binary".
  static void write(std::span<const std::string> strings, const std::string& format, const std::string& path) {
    run("write " + format + " '" + path + "'", "w", [&](std::FILE* input) {
      for (const std::string& text : strings) {
        std::fprintf(input, "%zu:", text.size());
        std::fwrite(text.data(), 1, text.size(), input);
      }
      return std::string();
    });
  }

 private:
  template <typename Talk>
  static std::string run(const std::string& arguments, const char* mode, Talk&& talk) {
    const std::string command = "python3 '" + paths::sources() + "/tests/platform/files/property_list.py' " + arguments;
    std::FILE* pipe = ::popen(command.c_str(), mode);
    if (pipe == nullptr) {
      ADD_FAILURE() << "cannot run " << command;
      return {};
    }
    std::string printed = talk(pipe);
    EXPECT_EQ(::pclose(pipe), 0) << command;
    return printed;
  }
};

}  // namespace sqm::platform::test
