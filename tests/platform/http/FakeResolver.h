#pragma once

#include <cstddef>

namespace sqm::tests {

/// The name look-up of this test program, the one libcurl calls included, stands in front of the system's: a name that
/// ends in ".invalid" is unknown at once, without a network, and the look-up of `kBlockedName` blocks until it is let
/// go. All other names go on to the system.
inline constexpr const char* kBlockedName = "blocked.invalid";

/// Blocks until a look-up of `kBlockedName` has begun; false when none does.
bool waitForBlockedLookUp();

/// True while a look-up of `kBlockedName` is blocked.
bool lookUpIsBlocked();

/// Lets the blocked look-ups go, and waits until they have.
void releaseBlockedLookUps();

}  // namespace sqm::tests
