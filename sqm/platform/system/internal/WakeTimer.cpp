#include "sqm/platform/system/internal/WakeTimer.h"

#include <algorithm>
#include <ctime>
#include <sys/timerfd.h>
#include <unistd.h>
#include <utility>

namespace sqm::platform {

WakeTimer::WakeTimer() : descriptor_(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {}

WakeTimer::~WakeTimer() {
  if (descriptor_ >= 0) close(descriptor_);
}

void WakeTimer::set(TimePoint time) {
  if (std::exchange(time_, time) == time) return;
  using std::chrono::nanoseconds;
  itimerspec timer{};  // all zero: never
  if (time != TimePoint::max()) {
    // The steady clock is CLOCK_MONOTONIC. A time in the past, but not zero, is at once.
    const nanoseconds since = std::max<nanoseconds>(time.time_since_epoch(), nanoseconds(1));
    timer.it_value.tv_sec = static_cast<std::time_t>(since.count() / std::nano::den);
    timer.it_value.tv_nsec = static_cast<long>(since.count() % std::nano::den);
  }
  timerfd_settime(descriptor_, TFD_TIMER_ABSTIME, &timer, nullptr);
}

}  // namespace sqm::platform
