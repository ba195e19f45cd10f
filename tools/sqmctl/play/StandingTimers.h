#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <utility>

#include "sqm/common/MainThread.h"

#include "tools/sqmctl/play/FixedEnvironment.h"

namespace sqmctl::play {

/// A main thread whose tasks for later wait for a standing clock. Used on one thread.
class StandingTimers : public sqm::MainThread {
 public:
  StandingTimers(sqm::MainThread& loop, const StandingClock& clock) : loop_(loop), clock_(clock) {}

  void post(Task task) override { loop_.post(std::move(task)); }

  bool postAfter(std::chrono::milliseconds delay, Task task) override {
    later_.emplace(clock_.date() + delay, std::move(task));
    return true;
  }

  /// When the first of them is due; nothing when there is none.
  std::optional<sqm::Date> next() const { return later_.empty() ? std::nullopt : std::optional(later_.begin()->first); }

  void runNext() {
    const Task task = std::move(later_.begin()->second);
    later_.erase(later_.begin());
    task();
  }

 private:
  sqm::MainThread& loop_;
  const StandingClock& clock_;
  std::multimap<sqm::Date, Task> later_;
};

}  // namespace sqmctl::play
