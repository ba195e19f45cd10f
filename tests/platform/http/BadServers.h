#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace sqm::tests {

/// An address whose server is bad.
struct BadServer {
  std::string url;
  std::function<void()> waitUntilReached = [] {};  ///< until it has the request
  std::shared_ptr<void> server = {};               ///< runs as long as this
};

struct BadServerKind {
  const char* name;
  bool holds;  ///< it does not let a request end
  std::function<BadServer()> start;
};

/// One of each kind. The program must have `FakeResolver.cpp`.
const std::vector<BadServerKind>& badServers();

}  // namespace sqm::tests
