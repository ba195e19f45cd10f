#pragma once

#include <span>
#include <string_view>

namespace collector {

/// A file of the page: where it is served, and as what.
struct Asset {
  std::string_view path;
  std::string_view contentType;
  std::string_view content;
};

/// All files of the page. They are part of the program.
std::span<const Asset> assets();

}  // namespace collector
