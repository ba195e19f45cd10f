#pragma once

#include <string_view>

namespace collector {

/// True for an address of the loopback interface, which no other machine reaches.
bool isLoopback(std::string_view address);

/// True when a request that names `host`, as its `Host` header does, was not led here by a name of somebody else's: it
/// names an address, or this machine. A page of the web can have its own name lead to this machine, and would then read
/// what is here as if it were its own (DNS rebinding).
bool isOwnName(std::string_view host);

}  // namespace collector
