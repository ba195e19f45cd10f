#include "tools/collector/service/MeasuresJson.h"

#include <algorithm>

#include "tools/collector/service/Measures.h"

namespace collector {

using std::chrono::milliseconds;

Json secondsJson(milliseconds duration) { return std::chrono::duration<double>(duration).count(); }

Json shareJson(double part, std::int64_t whole) {
  const auto share = shareOf(part, whole);
  return share ? Json{{"value", share->value}, {"low", share->low}, {"high", share->high}} : Json(nullptr);
}

Json percentilesJson(const std::vector<milliseconds>& durations) {
  const Percentiles found = percentilesOf(durations);
  const auto orNull = [&](milliseconds each) { return found.count > 0 ? secondsJson(each) : Json(nullptr); };
  return {{"count", found.count}, {"p50", orNull(found.p50)}, {"p95", orNull(found.p95)}, {"p99", orNull(found.p99)}};
}

Json rangesJson(const std::vector<milliseconds>& durations, std::span<const std::chrono::minutes> bounds) {
  std::vector<std::int64_t> counts(bounds.size() + 1);
  for (const milliseconds each : durations)
    ++counts[static_cast<std::size_t>(std::ranges::lower_bound(bounds, each) - bounds.begin())];
  Json json = Json::array();
  for (std::size_t at = 0; at < counts.size(); ++at) {
    json.push_back({{"upTo", at < bounds.size() ? secondsJson(bounds[at]) : Json(nullptr)}, {"count", counts[at]}});
  }
  return json;
}

Json TextCounts::json(std::size_t most) const {
  struct Row {
    std::size_t count = 0;
    std::vector<std::size_t> overTime;

    void add(const std::vector<std::size_t>& steps) {
      count += steps.size();
      for (const std::size_t step : steps) ++overTime[step];
    }
  };
  std::vector<const decltype(occurrences_)::value_type*> ordered;
  for (const auto& each : occurrences_) ordered.push_back(&each);
  std::ranges::stable_sort(ordered, std::ranges::greater(), [](const auto* each) { return each->second.size(); });
  const std::size_t shown = std::min(ordered.size(), most);
  Json frequent = Json::array();
  for (std::size_t at = 0; at < shown; ++at) {
    Row row{.overTime = std::vector<std::size_t>(steps_)};
    row.add(ordered[at]->second);
    frequent.push_back({{"text", ordered[at]->first}, {"count", row.count}, {"overTime", row.overTime}});
  }
  Row others{.overTime = std::vector<std::size_t>(steps_)};
  for (std::size_t at = shown; at < ordered.size(); ++at) others.add(ordered[at]->second);
  return {{"frequent", std::move(frequent)},
          {"others", {{"kinds", ordered.size() - shown}, {"count", others.count}, {"overTime", others.overTime}}}};
}

}  // namespace collector
