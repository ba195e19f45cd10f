#pragma once

#include <cstdint>
#include <string>
#include <thread>

namespace bench {

/// A server on the loopback interface that takes POST requests on kept-alive connections, one connection after another,
/// and answers each with the status 200 and no body. It reads bodies of a known length into one buffer and does not
/// parse them, so that its own time is small.
class LoopbackServer {
 public:
  LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;
  ~LoopbackServer();

  const std::string& url() const { return url_; }

 private:
  void run() const;

  int listener_ = -1;
  std::string url_;
  std::thread thread_;
};

}  // namespace bench
