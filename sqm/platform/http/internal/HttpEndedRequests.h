#pragma once

#include <cstddef>
#include <memory>
#include <mutex>

#include "sqm/common/MainThread.h"
#include "sqm/platform/http/internal/HttpRequest.h"

namespace sqm::platform {

/// Passes ended requests from the HTTP thread to their owners on the main thread, in one task for each request.
///
/// Ownership: shared. Its tasks do not keep it alive, and do nothing once it is destroyed.
/// Threading: `add` and `postTasks` on the HTTP thread.
class HttpEndedRequests : public std::enable_shared_from_this<HttpEndedRequests> {
 public:
  explicit HttpEndedRequests(MainThread& mainThread) : mainThread_(mainThread) {}

  void add(HttpRequestNode request) noexcept;

  /// Posts a task for each request that has none yet. Returns false when the main thread refused one: call it again
  /// later.
  bool postTasks() noexcept;

 private:
  void passOldest();

  MainThread& mainThread_;
  std::size_t unposted_ = 0;  // HTTP thread
  std::mutex mutex_;
  HttpRequestNode requests_;  // any number, the oldest first
};

}  // namespace sqm::platform
