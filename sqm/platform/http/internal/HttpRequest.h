#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <list>
#include <memory>
#include <string>

namespace sqm::platform {

struct HttpRequest;

/// One request, as the single node of a list: it moves from thread to thread without being copied or allocated.
using HttpRequestNode = std::list<HttpRequest>;

/// Who sends requests, and takes each of them back when it is over. Main thread.
class HttpRequestOwner {
 public:
  virtual void settle(HttpRequestNode request) = 0;

 protected:
  ~HttpRequestOwner() = default;
};

/// What a request knows of its sender, whom it may outlive.
struct HttpSender {
  explicit HttpSender(HttpRequestOwner* itsOwner) : owner(itsOwner) {}

  HttpRequestOwner* owner;                     // main thread; null once the sender is gone
  std::atomic<std::uint64_t> abortedUpTo = 0;  // the number of the last request that is given up
};

enum class HttpOutcome { completed, failed, timedOut, aborted };

/// What became of a request.
struct HttpResult {
  HttpOutcome outcome = HttpOutcome::failed;
  int status = 0;
  std::string content;
  std::string reason;  // why there is no response
};

struct HttpRequest {
  std::shared_ptr<HttpSender> sender;
  std::uint64_t number = 0;  // from 1, in the order of the sender's requests
  std::chrono::steady_clock::time_point begun;
  std::string url;  // empty: not to be sent, `result` says why
  std::string body;
  HttpResult result;

  /// The main thread has the last word on an abort: a request whose response crossed with it counts as aborted.
  bool aborted() const { return number <= sender->abortedUpTo.load(std::memory_order_relaxed); }
};

}  // namespace sqm::platform
