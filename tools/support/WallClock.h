#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace tools {

/// A local date and time, and its offset from GMT if the text has one.
struct WallClock {
  std::chrono::local_time<std::chrono::microseconds> time;
  std::optional<std::chrono::seconds> aheadOfGmt;
};

/// Parses a calendar date in ISO 8601, with or without a time of day: "2026-11-21", "2026-11-21T10:00",
/// "2026-11-21T10:00:00.25Z", "20261121T100000+0100". Nothing for any other text and for years other than 1 to 9999.
std::optional<WallClock> wallClockOf(std::string_view iso8601);

}  // namespace tools
