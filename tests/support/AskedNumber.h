#pragma once

#include <cstddef>
#include <cstdlib>
#include <string>

/// How often a test repeats what it does: the number in this environment variable, or what is usual without it.
inline std::size_t askedNumber(const char* variable, std::size_t usual) {
  const char* const asked = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): nothing changes the environment
  return asked == nullptr ? usual : std::stoul(asked);
}
