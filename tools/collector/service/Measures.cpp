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
  return Share{share, std::max(0.0, centre - half), std::min(1.0, centre + half)};
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
