#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace collector {

// Measures as JSON. Durations are in seconds.

using Json = nlohmann::ordered_json;

Json secondsJson(std::chrono::milliseconds duration);

/// {"value","low","high"}, with the interval of `shareOf`; null when the whole is 0.
Json shareJson(double part, std::int64_t whole);

/// {"count","p50","p95","p99"}; the percentiles of nothing are null.
Json percentilesJson(const std::vector<std::chrono::milliseconds>& durations);

/// [{"upTo","count"},…]: how many durations are at most each bound, and above the one before. The last has no bound.
Json rangesJson(const std::vector<std::chrono::milliseconds>& durations, std::span<const std::chrono::minutes> bounds);

/// How often texts occurred, in total and in each step of a window.
class TextCounts {
 public:
  explicit TextCounts(std::size_t steps) : steps_(steps) {}

  void add(const std::string& text, std::size_t step) { occurrences_[text].push_back(step); }

  /// {"frequent":[{"text","count","overTime"}],"others":{"kinds","count","overTime"}}: the most frequent texts, and all
  /// others together.
  Json json(std::size_t most) const;

 private:
  std::size_t steps_;
  std::map<std::string, std::vector<std::size_t>> occurrences_;  // the step of each
};

}  // namespace collector
