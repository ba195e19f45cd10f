#pragma once

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/platform/http/LoopbackSocket.h"

namespace sqm::tests {

/// A proxy on a free port of 127.0.0.1 that requires a user. It forwards a request to, or makes a tunnel to, the port
/// of its target on 127.0.0.1, whatever the target's name; without the right credentials it answers 407. It serves one
/// connection after another.
class LoopbackProxy {
 public:
  /// `credentials`: the Base64 of "USER:PASSWORD".
  explicit LoopbackProxy(std::string credentials);
  LoopbackProxy(const LoopbackProxy&) = delete;
  LoopbackProxy& operator=(const LoopbackProxy&) = delete;
  ~LoopbackProxy();

  /// "http://127.0.0.1:<port>"
  std::string address() const;

  /// The heads of the requests to the proxy, each without the requests inside its tunnel.
  std::vector<std::string> heads() const;

 private:
  void serveOne(int client);
  void connectTo(int client, std::string first, std::size_t headEnd) const;

  const std::string credentials_;
  Descriptor listener_;
  Descriptor stop_;
  mutable std::mutex mutex_;
  std::vector<std::string> heads_;
  std::thread thread_;
};

}  // namespace sqm::tests
