#pragma once

#include <chrono>

namespace sqm::platform {

/// A descriptor that is readable from a given time on: a Linux timer (timerfd_create), which is never read.
///
/// Ownership: closes the descriptor.
/// Threading: one thread at a time. Failure: a `descriptor` below 0, with the reason in errno.
class WakeTimer {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  WakeTimer();
  WakeTimer(const WakeTimer&) = delete;
  WakeTimer& operator=(const WakeTimer&) = delete;
  ~WakeTimer();

  int descriptor() const { return descriptor_; }

  /// Readable from `time` on: `TimePoint::min()` is at once, `TimePoint::max()` never. Calls the system only when the
  /// time is another one than before.
  void set(TimePoint time);

 private:
  int descriptor_;
  TimePoint time_ = TimePoint::max();
};

}  // namespace sqm::platform
