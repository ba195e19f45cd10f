#pragma once

#include <cstddef>
#include <memory>
#include <mutex>

#include "sqm/common/MainThread.h"
#include "sqm/platform/http/internal/HttpRequest.h"

namespace sqm::platform {

/// Takes finished requests from the HTTP thread to their senders on the main thread, one task for each.
///
/// Ownership: shared; its tasks do not keep it alive, and do nothing once it is gone.
/// Threading: `add` and `flush` on the HTTP thread.
class HttpDeliveries : public std::enable_shared_from_this<HttpDeliveries> {
 public:
  explicit HttpDeliveries(MainThread& mainThread) : mainThread_(mainThread) {}

  void add(HttpRequestNode request) noexcept;

  /// Posts a task for every request added; false when the main thread would not take all of them now.
  bool flush() noexcept;

 private:
  void deliverOne();

  MainThread& mainThread_;
  std::size_t unposted_ = 0;  // HTTP thread
  std::mutex mutex_;
  HttpRequestNode finished_;  // any number, the oldest first
};

}  // namespace sqm::platform
