#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "tools/collector/service/MeasuresJson.h"
#include "tools/collector/service/Tally.h"
#include "tools/collector/service/TimeSteps.h"

namespace collector {

/// Figures about VPN sessions.
class VpnFigures {
 public:
  explicit VpnFigures(const TimeSteps& steps) : steps_(steps), ends_(steps.count()), failures_(steps.count()) {}

  void take(const Session& session);

  Json json() const;

 private:
  TimeSteps steps_;
  ClientTally total_;
  std::int64_t withoutStop_ = 0;
  std::int64_t withoutStart_ = 0;
  std::vector<std::chrono::milliseconds> setUps_;
  std::vector<std::chrono::milliseconds> lengths_;
  TextCounts ends_;      // by reason
  TextCounts failures_;  // by reason
};

}  // namespace collector
