#pragma once

#include <chrono>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "tools/collector/service/ConnectionFact.h"

namespace collector {

/// A stored fact.
struct FactRow {
  std::int64_t id = 0;  ///< that of its record
  ConnectionFact fact;
};

/// A duration of a fact as it is stored.
inline std::optional<std::int64_t> numberOf(const std::optional<std::chrono::milliseconds>& duration) {
  return duration ? std::optional<std::int64_t>(duration->count()) : std::nullopt;
}

/// A position among the facts, which are ordered by their time and then by their id.
struct FactPosition {
  ConnectionFact::Time time;
  std::int64_t id = std::numeric_limits<std::int64_t>::min();
};

/// Which facts are read. The medium and the network select connections; the version selects VPN sessions, too.
struct FactFilter {
  ConnectionFact::Time from = ConnectionFact::Time::min();
  std::int64_t oneIn = 1;  ///< only those of one in so many clients: a number of kSamples
  std::optional<ConnectionFact::Medium> medium{};
  std::optional<std::string> network{};
  std::optional<std::string> version{};
};

/// Sums over the requests that arrived in some minutes.
struct ArrivalCounts {
  std::int64_t posts = 0;
  std::int64_t records = 0;
  std::int64_t duplicates = 0;  ///< records that had arrived before
  std::int64_t problems = 0;    ///< posts whose body has a problem
};

}  // namespace collector
