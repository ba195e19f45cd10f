#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "tools/fleet/sim/World.h"

namespace fleet {

/// What does not change about a client.
struct Profile {
  std::chrono::minutes zone{0};  ///< its offset from GMT
  std::string_view version;
  std::size_t home = 0;  ///< its networks, by index
  std::size_t office = 0;
  std::size_t dock = 0;
  std::size_t carrier = 0;
  bool hasModem = false;
  bool usesVpn = false;
  bool isLooping = false;  ///< tries again for hours where others give up
};

Profile profileOf(const World& world, std::uint32_t client);

/// A VPN session inside a connection. The codes are those of `SQMApplicationRecHelper`.
struct Vpn {
  Time begin{};
  Time end{};
  int setupTenths = 0;  ///< tenths of a second
  std::int32_t launchType = 0;
  std::int32_t status = 1;     ///< 1: success; with any other there is no session, and no stop
  std::int32_t endReason = 0;  ///< of the stop
  bool hasStop = true;         ///< false: the client ended without a record of the stop

  bool isSuccess() const { return status == 1; }
};

/// A connection attempt, and the connection when it succeeded.
struct Connection {
  enum class Outcome : std::uint8_t { failed, ended, dropped };

  Time begin{};
  Time end{};
  std::size_t network = 0;
  Outcome outcome = Outcome::failed;
  std::string_view reason = {};      ///< of the failure, of the end, or of the drop
  int connectTenths = 0;             ///< the time to connect, in tenths of a second; 0 when it failed
  int signal = 0;                    ///< dBm; 0 for a wired one
  std::string_view technology = {};  ///< of a mobile one
  bool isAutomatic = false;
  std::int64_t bytesSent = 0;
  std::int64_t bytesReceived = 0;
  std::optional<Vpn> vpn = {};

  bool isConnected() const { return outcome != Outcome::failed; }
};

struct Event {
  enum class Kind : std::uint8_t { clientStart, device, prompt, connect, vpnStart, vpnStop, disconnect, upload, sleep };

  Time at;
  Kind kind = Kind::clientStart;
  std::size_t connection = 0;  ///< its index; 0 for an event without one
};

/// A client's day, from the start of its process to its end.
struct Day {
  std::vector<Connection> connections;
  std::vector<Event> events;  ///< by time; empty when the client stays off
};

/// What happens to a client on a day of its own time, but for connections that are not wholly inside the period: a pure
/// function.
Day dayOf(const World& world, std::uint32_t client, std::chrono::local_days day, const Period& period);

}  // namespace fleet
