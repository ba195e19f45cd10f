#pragma once

#include <chrono>
#include <cstddef>
#include <utility>

#include "tools/collector/service/ConnectionFact.h"

namespace collector {

/// A window of time, divided into steps of equal length for plots over time.
class TimeSteps {
 public:
  using Time = ConnectionFact::Time;

  /// From `from` to before `to`. The step is the shortest of a minute to four weeks that gives at most 60 steps; the
  /// first one begins at a multiple of it. A longer window is divided into 60 steps.
  TimeSteps(Time from, Time to);

  std::chrono::milliseconds step() const { return step_; }
  std::size_t count() const { return count_; }
  Time beginOf(std::size_t step) const { return first_ + step_ * static_cast<int>(step); }

  /// The step that contains a time. Times outside of the window belong to its first or its last.
  std::size_t of(Time time) const;

 private:
  std::chrono::milliseconds step_;
  Time first_;
  std::size_t count_;
};

}  // namespace collector
