#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace sqmctl::play {

/// What an ISO 8601 text says: what a wall clock shows, and how far it is ahead of GMT, where the text tells.
struct WallClock {
  std::chrono::local_time<std::chrono::microseconds> time;
  std::optional<std::chrono::seconds> aheadOfGmt;

  friend bool operator==(const WallClock&, const WallClock&) = default;
};

/// Reads a calendar date, alone or with a time of day: "2026-11-21", "2026-11-21T10:00", "2026-11-21T10:00:00.25Z",
/// "20261121T100000+0100". The years are 1 to 9999. Nothing when it is no such text.
std::optional<WallClock> wallClockOf(std::string_view iso8601);

}  // namespace sqmctl::play
