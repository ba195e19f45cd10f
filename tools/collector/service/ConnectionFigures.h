#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "tools/collector/service/MeasuresJson.h"
#include "tools/collector/service/Tally.h"
#include "tools/collector/service/TimeSteps.h"

namespace collector {

/// Figures about attempts to connect, and about connections that ended.
class ConnectionFigures {
 public:
  /// `target` is that of the Apdex.
  ConnectionFigures(const TimeSteps& steps, std::chrono::milliseconds target);

  void take(const Session& session);

  Json json() const;

 private:
  /// A client on a network.
  struct Pair {
    ConnectionFact::Medium medium;
    std::string network;
    std::string client;

    bool operator<(const Pair& other) const {
      return std::tie(medium, network, client) < std::tie(other.medium, other.network, other.client);
    }
  };

  Json successJson() const;
  Json connectingJson() const;
  Json worstNetworksJson() const;

  const TimeSteps steps_;
  const std::chrono::milliseconds target_;
  std::vector<Tally> overTime_;
  std::map<Pair, Tally> pairs_;
  std::vector<std::vector<std::chrono::milliseconds>> connecting_;  // by step
  TextCounts reasons_;                                              // of failures
  std::map<std::int32_t, ClientTally> signals_;                     // by the lower end of 5 dB
  std::map<std::string, ClientTally> technologies_;
  std::map<bool, ClientTally> roaming_;  // true: abroad
};

}  // namespace collector
