#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace collector {

// Measures of the statistics, as pure functions.

/// A share of a whole, and the interval in which it lies with a confidence of 95 %.
struct Share {
  double value;
  double low;
  double high;
};

/// The share of `part` in `whole`; nothing when the whole is 0. The interval is the Wilson score interval (E. B.
/// Wilson, "Probable inference, the law of succession, and statistical inference", 1927), which holds for small counts
/// and for shares near 0 and 1. `part` may be the sum of the shares of a number `whole` of groups: these vary less than
/// single events, for which the interval is made.
std::optional<Share> shareOf(double part, std::int64_t whole);

/// Events of one group, such as the attempts of a client, and those of them that count.
struct Group {
  std::int64_t part = 0;
  std::int64_t whole = 0;
};

/// How many independent events tell a share as precisely as these groups do. It is less than their events when those of
/// a group are alike (the design effect of clusters: L. Kish, "Survey Sampling", 1965).
std::int64_t effectiveSize(const std::vector<Group>& groups);

/// Percentiles of durations: the smallest value that at least so many per cent of them do not exceed (nearest rank).
struct Percentiles {
  std::size_t count = 0;  ///< the others are 0 when it is 0
  std::chrono::milliseconds p50{0};
  std::chrono::milliseconds p95{0};
  std::chrono::milliseconds p99{0};
};
Percentiles percentilesOf(std::vector<std::chrono::milliseconds> durations);

/// The Application Performance Index (Apdex Alliance, version 1.1): the satisfied samples, and half of the tolerating
/// ones, as a share of all.
struct Apdex {
  std::int64_t satisfied = 0;   ///< at most the target
  std::int64_t tolerating = 0;  ///< at most four times the target
  std::int64_t frustrated = 0;  ///< longer, or failed

  std::int64_t samples() const { return satisfied + tolerating + frustrated; }
  std::optional<double> value() const;  ///< from 0 to 1; nothing without samples
};

/// That of durations, and of a number of failed attempts.
Apdex apdexOf(const std::vector<std::chrono::milliseconds>& durations, std::int64_t failed,
              std::chrono::milliseconds target);

}  // namespace collector
