#pragma once

#include <chrono>
#include <string>

namespace sqm {

/// "2026-11-21T10:00:00Z": a moment in UTC, as ISO 8601 writes it.
std::string isoTimeStamp(std::chrono::sys_seconds moment);

/// "2026-11-21T10:00:00.123Z"
std::string isoTimeStamp(std::chrono::sys_time<std::chrono::milliseconds> moment);

/// "20261121100000", as the C library's "%Y%m%d%H%M%S" writes it in any locale.
std::string compactTimeStamp(std::chrono::sys_seconds moment);

}  // namespace sqm
