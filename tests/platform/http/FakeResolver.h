#pragma once

#include <cstddef>

namespace sqm::tests {

/// This test program replaces the system's name look-up, also for libcurl: a name that ends in ".invalid" is unknown at
/// once, without a network, and a look-up of `kBlockedName` blocks until it is released. Other names are passed to the
/// system.
inline constexpr const char* kBlockedName = "blocked.invalid";

/// Blocks until a look-up of `kBlockedName` has started. Returns false when none does.
bool waitForBlockedLookUp();

/// True while a look-up of `kBlockedName` is blocked.
bool lookUpIsBlocked();

/// Releases the blocked look-ups and waits until they have ended.
void releaseBlockedLookUps();

}  // namespace sqm::tests
