#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

struct sockaddr_storage;

namespace collector {

/// The address of a client: IPv6, or IPv4 mapped into it (RFC 4291, 2.5.5.2).
class Address {
 public:
  explicit Address(const sockaddr_storage& address);

  std::string text() const;

  /// The part that limits apply to: all of an IPv4 address, the first 64 bits of an IPv6 one, because a single client
  /// usually has all addresses below them (RFC 4291, 2.5.1).
  Address network() const;

  bool operator==(const Address&) const = default;
  bool operator<(const Address& other) const { return bytes_ < other.bytes_; }

 private:
  bool isIpv4() const;

  std::array<std::uint8_t, 16> bytes_{};
};

/// What one client address may use: connections at a time, and requests in a second.
class AddressLimits {
 public:
  using Time = std::chrono::steady_clock::time_point;
  using Duration = std::chrono::steady_clock::duration;

  /// 0 means no limit.
  AddressLimits(std::size_t connections, std::size_t requestsPerSecond);

  /// Counts a connection, which `leave` must follow. Returns false, and counts nothing, when there are too many.
  bool join(const Address& client);
  void leave(const Address& client, Time now);

  /// How long a request that has arrived must wait for its turn. As many as the limit may arrive at once; later ones
  /// are spread evenly. Nothing when the wait would exceed `longest`; the request is then not counted.
  ///
  /// Source: the generic cell rate algorithm, ITU-T recommendation I.371.
  std::optional<Duration> waitOf(const Address& client, Time now, Duration longest);

  /// The addresses that it knows.
  std::size_t size() const { return uses_.size(); }

 private:
  struct Use {
    std::size_t connections = 0;
    Time nextTurn;  ///< of a request when requests are spread evenly
  };
  void forget(Time now);

  std::size_t mostConnections_;
  Duration interval_{};  ///< between requests; 0: no limit
  std::map<Address, Use> uses_;
  std::size_t sizeToForgetAt_ = 1024;
};

}  // namespace collector
