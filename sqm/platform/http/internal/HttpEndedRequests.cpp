#include "sqm/platform/http/internal/HttpDeliveries.h"

#include <utility>

namespace sqm::platform {

void HttpDeliveries::add(HttpRequestNode request) noexcept {
  const std::lock_guard lock(mutex_);
  unposted_ += request.size();
  finished_.splice(finished_.end(), request);
}

bool HttpDeliveries::flush() noexcept {
  try {
    for (; unposted_ > 0; --unposted_) {
      mainThread_.post([self = weak_from_this()] {
        if (const auto deliveries = self.lock()) deliveries->deliverOne();
      });
    }
    return true;
  } catch (...) {
    return false;  // what has no task yet gets one later
  }
}

void HttpDeliveries::deliverOne() {
  HttpRequestNode request;
  {
    const std::lock_guard lock(mutex_);
    if (finished_.empty()) return;  // a loop that threw had taken the task all the same
    request.splice(request.begin(), finished_, finished_.begin());
  }
  if (HttpRequestOwner* const owner = request.front().sender->owner) owner->settle(std::move(request));
}

}  // namespace sqm::platform
