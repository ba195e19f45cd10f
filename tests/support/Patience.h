#pragma once

#include <chrono>

/// How long a test waits for what takes milliseconds: it must pass in a sanitizer's build on a busy machine, too.
inline constexpr std::chrono::seconds kPatience{250};
