#include "tools/collector/http/HostNames.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cctype>
#include <netinet/in.h>
#include <string>

namespace collector {

namespace {

bool isLocalhost(std::string_view name) {
  constexpr std::string_view kLocalhost = "localhost";
  return std::equal(name.begin(), name.end(), kLocalhost.begin(), kLocalhost.end(), [](char found, char expected) {
    return std::tolower(static_cast<unsigned char>(found)) == expected;
  });
}

bool isIpv4(std::string_view text) {
  in_addr unused{};
  return ::inet_pton(AF_INET, std::string(text).c_str(), &unused) == 1;
}

}  // namespace

bool isLoopback(std::string_view address) {
  return isLocalhost(address) || address == "::1" || (address.starts_with("127.") && isIpv4(address));
}

bool isOwnName(std::string_view host) {
  if (host.empty() || host.starts_with('[')) return true;  // none is named, or an address of IPv6
  const std::string_view name = host.substr(0, host.rfind(':'));
  return isLocalhost(name) || isIpv4(name);
}

}  // namespace collector
