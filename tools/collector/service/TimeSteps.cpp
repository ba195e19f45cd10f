#include "tools/collector/service/TimeSteps.h"

#include <algorithm>
#include <iterator>

namespace collector {

namespace {

using namespace std::chrono;
using namespace std::chrono_literals;

constexpr int kMostSteps = 60;
constexpr minutes kSteps[] = {1min, 2min, 5min, 10min, 15min, 30min, 60min, 2h, 6h, 12h, 24h, 7 * 24h, 28 * 24h};

milliseconds stepFor(milliseconds length) {
  const auto* const found =
      std::ranges::find_if(kSteps, [&](minutes step) { return length <= step * (kMostSteps - 1); });
  return found == std::end(kSteps) ? length / (kMostSteps - 1) + 1ms : milliseconds(*found);
}

}  // namespace

TimeSteps::TimeSteps(Time from, Time to)
    : step_(stepFor(to - from)),
      first_(from - (from.time_since_epoch() % step_ + step_) % step_),
      count_(static_cast<std::size_t>(std::max<std::int64_t>(1, (to - first_ + step_ - 1ms) / step_))) {}

std::size_t TimeSteps::of(Time time) const {
  return static_cast<std::size_t>(std::clamp<std::int64_t>((time - first_) / step_, 0, static_cast<int>(count_) - 1));
}

}  // namespace collector
