#include "tools/collector/http/AddressLimits.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <netinet/in.h>

namespace collector {

namespace {

constexpr std::array<std::uint8_t, 12> kMappedIpv4 = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
constexpr std::size_t kNetworkBytes = 8;
constexpr std::chrono::seconds kBurst{1};

}  // namespace

Address::Address(const sockaddr_storage& address) {
  if (address.ss_family == AF_INET6) {
    sockaddr_in6 ipv6{};
    std::memcpy(&ipv6, &address, sizeof ipv6);
    std::memcpy(bytes_.data(), &ipv6.sin6_addr, bytes_.size());
  } else {
    sockaddr_in ipv4{};
    std::memcpy(&ipv4, &address, sizeof ipv4);
    std::ranges::copy(kMappedIpv4, bytes_.begin());
    std::memcpy(bytes_.data() + kMappedIpv4.size(), &ipv4.sin_addr, sizeof ipv4.sin_addr);
  }
}

bool Address::isIpv4() const { return std::equal(kMappedIpv4.begin(), kMappedIpv4.end(), bytes_.begin()); }

std::string Address::text() const {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const bool isShort = isIpv4();
  inet_ntop(isShort ? AF_INET : AF_INET6, bytes_.data() + (isShort ? kMappedIpv4.size() : 0), text.data(), text.size());
  return text.data();
}

Address Address::network() const {
  Address network = *this;
  if (!isIpv4()) std::fill(network.bytes_.begin() + kNetworkBytes, network.bytes_.end(), std::uint8_t{0});
  return network;
}

AddressLimits::AddressLimits(std::size_t connections, std::size_t requestsPerSecond)
    : mostConnections_(connections),
      interval_(requestsPerSecond == 0 ? Duration{}
                                       : Duration{std::chrono::seconds{1}} / static_cast<int>(requestsPerSecond)) {}

bool AddressLimits::join(const Address& client) {
  Use& use = uses_[client.network()];
  if (mostConnections_ != 0 && use.connections >= mostConnections_) return false;
  ++use.connections;
  return true;
}

void AddressLimits::leave(const Address& client, Time now) {
  const auto found = uses_.find(client.network());
  if (--found->second.connections == 0 && found->second.nextTurn <= now) uses_.erase(found);
  if (uses_.size() >= sizeToForgetAt_) forget(now);
}

std::optional<AddressLimits::Duration> AddressLimits::waitOf(const Address& client, Time now, Duration longest) {
  if (interval_ == Duration{}) return Duration{};
  Time& nextTurn = uses_[client.network()].nextTurn;
  const Duration wait = std::max(nextTurn + interval_ - kBurst - now, Duration{});
  if (wait > longest) return std::nullopt;
  nextTurn = std::max(nextTurn, now) + interval_;
  return wait;
}

/// Removes the addresses without connections whose requests no longer count. Runs each time their number has doubled.
void AddressLimits::forget(Time now) {
  std::erase_if(uses_, [now](const auto& use) { return use.second.connections == 0 && use.second.nextTurn <= now; });
  sizeToForgetAt_ = std::max(sizeToForgetAt_, 2 * uses_.size());
}

}  // namespace collector
