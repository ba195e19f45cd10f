#include "sqm/platform/http/internal/HttpEndedRequests.h"

#include <utility>

namespace sqm::platform {

void HttpEndedRequests::add(HttpRequestNode request) noexcept {
  const std::lock_guard lock(mutex_);
  unposted_ += request.size();
  requests_.splice(requests_.end(), request);
}

bool HttpEndedRequests::postTasks() noexcept try {
  for (; unposted_ > 0; --unposted_) {
    mainThread_.post([weakSelf = weak_from_this()] {
      if (const auto self = weakSelf.lock()) self->passOldest();
    });
  }
  return true;
} catch (...) {
  return false;
}

void HttpEndedRequests::passOldest() {
  HttpRequestNode request;
  {
    const std::lock_guard lock(mutex_);
    if (requests_.empty()) return;  // a main thread that threw may have queued the task all the same
    request.splice(request.begin(), requests_, requests_.begin());
  }
  if (HttpRequestOwner* const owner = request.front().link->owner) owner->requestEnded(std::move(request));
}

}  // namespace sqm::platform
