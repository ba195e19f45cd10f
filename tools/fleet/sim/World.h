#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace fleet {

using Time = std::chrono::sys_seconds;

/// From `begin` to before `end`.
struct Period {
  Time begin;
  Time end;

  bool holds(Time time) const { return begin <= time && time < end; }
};

/// The numbers are those of `SQMManager::setDeviceType`.
enum class Medium : std::uint8_t { wiFi = 1, mobile = 2, ethernet = 3 };

/// Where a client is, which decides which networks it finds.
enum class Place : std::uint8_t { home, office, dock, hotspot, homeCarrier, foreignCarrier };

/// A network, and how well it works.
struct Network {
  Place place = Place::home;
  Medium medium = Medium::wiFi;
  std::string name;   ///< of a Wi-Fi network, or the operator of a mobile one; empty for a wired one
  double success;     ///< the part of attempts that succeed at a good signal
  double seconds;     ///< the usual time to connect
  double signal;      ///< the mean, in dBm; of no meaning for a wired one
  double outageDays;  ///< the part of days on which an outage begins
};

/// The networks that there are, and when they fail: a function of the seed and of the number of clients.
///
/// Threading: any thread.
class World {
 public:
  World(std::uint64_t seed, std::uint32_t clients);

  std::uint64_t seed() const { return seed_; }
  const Network& network(std::size_t index) const { return networks_[index]; }

  /// The index of one of the networks of a place; equal choices give the same.
  std::size_t networkAt(Place place, std::uint64_t choice) const;

  /// The outage of a network that begins on this day, if there is one.
  std::optional<Period> outageOn(std::size_t network, std::chrono::sys_days day) const;

 private:
  std::uint64_t seed_;
  std::vector<Network> networks_;  // those of one place side by side, in the order of the places
  std::vector<std::size_t> ends_;  // by place
};

}  // namespace fleet
