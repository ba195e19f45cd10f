#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "sqm/manager/SQMManager.h"
#include "sqm/manager/SQMSessionParams.h"
#include "sqm/manager/internal/CreatingCalls.h"

namespace bench {

inline constexpr std::int64_t kWiFi = 1;
inline constexpr std::size_t kValues = 35;

/// The records are kept. After this many they are deleted, outside of the measured time.
inline constexpr std::size_t kMostRecords = 1000;

using Values = std::vector<std::pair<std::int64_t, std::string>>;

/// The values that a client sets: those of a Wi-Fi connection, and others that it knows.
inline Values clientValues() {
  Values values;
  const auto add = [&](std::int64_t key) {
    values.emplace_back(key, "value of " + std::to_string(key) + (key % 3 == 0 ? ", of some length" : ""));
  };
  for (const sqm::Fill& fill : sqm::mediumOf(kWiFi)->startFills) add(fill.field);
  for (std::int64_t key = 48; values.size() < kValues; ++key) add(key);
  return values;
}

inline void fill(sqm::SQMSessionParams& params, const Values& values) {
  for (const auto& [key, value] : values) params.setStringValue(value, key);
}

/// A manager that is replaced when it has kept many records.
class RecordingManager {
 public:
  /// `forget` removes what the manager has saved at its end.
  explicit RecordingManager(
      sqm::Host& host, std::function<void()> forget = [] {})
      : host_(host), forget_(std::move(forget)) {
    renew();
  }

  void start(const sqm::SQMSessionParams& params, benchmark::State& state) {
    manager_->sqmCreateStartRecord(&params);
    if (++records_ < kMostRecords) return;
    state.PauseTiming();
    renew();
    state.ResumeTiming();
  }

 private:
  void renew() {
    manager_.reset();
    forget_();
    manager_ = std::make_unique<sqm::SQMManager>(host_);
    manager_->setDeviceType(kWiFi);
    records_ = 0;
  }

  sqm::Host& host_;
  std::function<void()> forget_;
  std::unique_ptr<sqm::SQMManager> manager_;
  std::size_t records_ = 0;
};

}  // namespace bench
