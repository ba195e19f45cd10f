#pragma once

#include <string_view>

namespace collector {

/// True for an address of the loopback interface, which other machines cannot reach.
bool isLoopback(std::string_view address);

/// True when `host`, the value of a `Host` header, is an address or a name of this machine. A web page can make its own
/// name resolve to this machine, and could then read the data as its own (DNS rebinding).
bool isOwnName(std::string_view host);

}  // namespace collector
