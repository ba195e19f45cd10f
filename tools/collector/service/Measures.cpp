#include "tools/collector/service/Measures.h"

#include <algorithm>
#include <cmath>

namespace collector {

using std::chrono::milliseconds;

std::optional<Share> shareOf(double part, std::int64_t whole) {
  if (whole <= 0) return std::nullopt;
  constexpr double kZ = 1.959964;  // the quantile of the normal distribution for 95 %
  const auto n = static_cast<double>(whole);
  const double share = part / n;
  const double divisor = 1 + kZ * kZ / n;
  const double centre = (share + kZ * kZ / (2 * n)) / divisor;
  const double half = kZ / divisor * std::sqrt(share * (1 - share) / n + kZ * kZ / (4 * n * n));
  // At its ends the interval is exact, whatever was rounded.
  return Share{share, share > 0 ? std::max(0.0, centre - half) : 0.0, share < 1 ? std::min(1.0, centre + half) : 1.0};
}

std::int64_t effectiveSize(const std::vector<Group>& groups) {
  Group all;
  for (const Group& group : groups) all = {.part = all.part + group.part, .whole = all.whole + group.whole};
  if (all.whole == 0) return 0;
  const auto n = static_cast<double>(all.whole);
  const double share = static_cast<double>(all.part) / n;
  double squares = 0;
  for (const Group& group : groups) {
    const double difference = static_cast<double>(group.part) - share * static_cast<double>(group.whole);
    squares += difference * difference;
  }
  const double expected = n * share * (1 - share);  // of squares, when the events are independent
  return squares <= expected ? all.whole : std::max<std::int64_t>(1, std::llround(n * expected / squares));
}

Percentiles percentilesOf(std::vector<milliseconds> durations) {
  if (durations.empty()) return {};
  std::ranges::sort(durations);
  const auto at = [&](std::size_t percent) { return durations[(durations.size() * percent + 99) / 100 - 1]; };
  return {.count = durations.size(), .p50 = at(50), .p95 = at(95), .p99 = at(99)};
}

std::optional<double> Apdex::value() const {
  if (samples() == 0) return std::nullopt;
  return (static_cast<double>(satisfied) + static_cast<double>(tolerating) / 2) / static_cast<double>(samples());
}

Apdex apdexOf(const std::vector<milliseconds>& durations, std::int64_t failed, milliseconds target) {
  const auto atMost = [&](milliseconds longest) {
    return std::ranges::count_if(durations, [&](milliseconds each) { return each <= longest; });
  };
  const auto satisfied = atMost(target);
  const auto tolerating = atMost(4 * target) - satisfied;
  return {.satisfied = satisfied,
          .tolerating = tolerating,
          .frustrated = static_cast<std::int64_t>(durations.size()) - satisfied - tolerating + failed};
}

}  // namespace collector
