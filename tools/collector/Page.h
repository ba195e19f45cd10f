#pragma once

#include <span>
#include <string_view>

namespace collector {

/// A file of the page that the server sends to a browser.
struct Asset {
  std::string_view path;  ///< "/", or below "/_page/"
  std::string_view contentType;
  std::string_view content;
};

std::span<const Asset> assets();

}  // namespace collector
