#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/collector/service/ConnectionFact.h"
#include "tools/collector/service/ConnectionFigures.h"
#include "tools/collector/service/MeasuresJson.h"
#include "tools/collector/service/ServiceQuery.h"
#include "tools/collector/service/Sessions.h"
#include "tools/collector/service/TimeSteps.h"
#include "tools/collector/service/VpnFigures.h"

namespace collector {

/// The figures about a window of time, made of its facts. The memory that it uses grows with the facts, by up to some
/// 500 bytes for each.
class ServiceReport {
 public:
  explicit ServiceReport(const ServiceQuery& query);
  ServiceReport(const ServiceReport&) = delete;
  ServiceReport& operator=(const ServiceReport&) = delete;

  /// Takes the facts that the query selects, from the newest to the oldest.
  void take(const ConnectionFact& fact);

  /// The figures, after the last fact. Call it once.
  Json finish();

 private:
  /// The names that a filter can choose, with the number of their facts.
  using Choices = std::map<std::string, std::int64_t>;
  static Json choicesJson(const Choices& choices);

  const ServiceQuery query_;
  const TimeSteps steps_;
  ConnectionFigures connections_;
  VpnFigures vpn_;
  Sessions sessions_;
  std::int64_t selected_ = 0;
  std::optional<ConnectionFact::Time> oldest_;
  std::vector<std::chrono::milliseconds> ages_;
  Choices networks_;
  Choices versions_;
};

}  // namespace collector
