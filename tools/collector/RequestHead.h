#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace collector {

/// The head of a request as the client wrote it.
struct RequestHead {
  std::string path;
  std::string query;
  std::string contentType;
  std::vector<std::pair<std::string, std::string>> headers;
};

/// Reads a request line and the headers after it.
RequestHead parseHead(std::string_view text);

}  // namespace collector
