#pragma once

#include <chrono>

/// How long a test waits for an event that takes milliseconds: long enough for a sanitizer's build on a busy machine.
inline constexpr std::chrono::seconds kPatience{250};
