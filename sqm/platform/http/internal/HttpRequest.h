#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "sqm/platform/http/HttpExchange.h"

namespace sqm::platform {

struct HttpRequest;

/// One request, as the single node of a list: it moves between threads without a copy or an allocation.
using HttpRequestNode = std::list<HttpRequest>;

/// Sends requests and gets each of them back when it has ended. Main thread.
class HttpRequestOwner {
 public:
  virtual void requestEnded(HttpRequestNode request) = 0;

 protected:
  ~HttpRequestOwner() = default;
};

/// Shared by an owner and its requests, which may outlive it.
struct HttpOwnerLink {
  explicit HttpOwnerLink(HttpRequestOwner* itsOwner) : owner(itsOwner) {}

  HttpRequestOwner* owner;                     // main thread; null once the owner is destroyed
  std::atomic<std::uint64_t> abortedUpTo = 0;  // number of the last request that was aborted
};

struct HttpRequest {
  std::shared_ptr<HttpOwnerLink> link;
  std::uint64_t number = 0;  // from 1, in the order of the owner's requests
  std::chrono::steady_clock::time_point start;
  std::string url;  // empty: not sent, for the reason in `exchange`
  std::string body;
  std::vector<HttpHeader> headers;  // of the host
  HttpExchange exchange;
  std::string content;  // of the response, up to the limit

  /// The main thread decides: a request that was aborted before its response was reported counts as aborted.
  bool isAborted() const { return number <= link->abortedUpTo.load(std::memory_order_relaxed); }
};

}  // namespace sqm::platform
