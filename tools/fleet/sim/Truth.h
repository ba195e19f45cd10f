#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string_view>
#include <utility>

#include <nlohmann/json_fwd.hpp>

#include "tools/fleet/sim/Model.h"

namespace fleet {

/// The figures of what was recorded, counted from the model and not from the records: what a page that reads the
/// records has to show.
///
/// Ownership: `world` is borrowed.
/// Threading: any thread.
class Truth {
 public:
  explicit Truth(const World& world) : world_(world) {}

  /// Counts an event that is recorded.
  void add(std::uint32_t client, const Day& day, const Event& event);

  /// The figures, whatever the order in which they were counted.
  nlohmann::ordered_json json() const;

 private:
  struct Attempts {
    std::uint64_t attempts = 0;
    std::uint64_t succeeded = 0;
  };
  struct Drops {
    std::uint64_t connections = 0;
    std::uint64_t dropped = 0;
  };
  using Counts = std::map<std::string_view, std::uint64_t>;
  using Tenths = std::map<std::int64_t, std::uint64_t>;  // how often each duration was counted, in tenths of a second

  void addStart(std::uint32_t client, const Connection& connection);
  void addStop(const Connection& connection);
  void addVpnStop(const Vpn& vpn);
  nlohmann::ordered_json recordsJson() const;
  nlohmann::ordered_json connectionsJson() const;

  const World& world_;
  mutable std::mutex mutex_;
  std::map<Event::Kind, std::uint64_t> events_;
  std::map<std::pair<std::uint32_t, std::size_t>, Attempts> pairs_;  // by client and network
  std::map<Medium, Tenths> connectTimes_;
  Counts failures_;
  Counts ends_;
  std::map<std::pair<Medium, int>, Drops> drops_;  // by medium and step of the signal, in dBm
  Counts technologies_;
  std::uint64_t roaming_ = 0;
  std::uint64_t vpnSuccesses_ = 0;
  Counts vpnEnds_;
  Tenths vpnLengths_;
};

}  // namespace fleet
