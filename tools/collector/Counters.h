#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace collector {

/// What the server counts. `kCountTable` names each.
enum class Count : std::uint8_t {
  postsKept,
  postsTooLong,
  postsRefused,
  postsIncomplete,
  postsInvalid,
  postsFailed,
  postBytes,
  readsAnswered,
  readsRefused,
  requestsDelayed,
  requestsOverLimit,
  connectionsAccepted,
  connectionsEnded,
  connectionsCrowdedOut,
  connectionsOverLimit,
  connectionsTimedOut,
  handshakesFailed,
  reloads,
  reloadsFailed,
};
inline constexpr std::size_t kCounts = static_cast<std::size_t>(Count::reloadsFailed) + 1;

/// Durations by their upper limits.
///
/// Threading: any thread, without a lock. A reader may miss durations that are added meanwhile.
class Histogram {
 public:
  static constexpr std::array kLimits = {0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1.0, 2.5, 5.0, 10.0, 30.0, 60.0};

  void add(std::chrono::steady_clock::duration duration);

  /// The number of durations up to `kLimits[index]` and above the limit before; the last are above all limits.
  std::uint64_t count(std::size_t index) const { return counts_[index].load(std::memory_order_relaxed); }
  double seconds() const;  ///< the sum

 private:
  std::array<std::atomic<std::uint64_t>, kLimits.size() + 1> counts_{};
  std::atomic<std::uint64_t> nanoseconds_{0};
};

/// What has happened since the start of the server.
///
/// Threading: any thread, without a lock.
class Counters {
 public:
  void add(Count count, std::uint64_t number = 1) {
    counts_[static_cast<std::size_t>(count)].fetch_add(number, std::memory_order_relaxed);
  }
  std::uint64_t of(Count count) const {
    return counts_[static_cast<std::size_t>(count)].load(std::memory_order_relaxed);
  }

  /// Counts an event that someone must look at, and prints `what` on standard error with the number so far: for each
  /// `count` at most a line in ten seconds, so that a flood of events does not fill the log.
  void warn(Count count, std::string_view what);

  void addPostDuration(std::chrono::steady_clock::duration duration) { postDurations_.add(duration); }
  const Histogram& postDurations() const { return postDurations_; }

 private:
  Histogram postDurations_;
  std::array<std::atomic<std::uint64_t>, kCounts> counts_{};
  std::array<std::atomic<std::int64_t>, kCounts> nextWarnings_{};  ///< ticks of the steady clock
};

/// The text with every character that could control a terminal replaced.
std::string printable(std::string_view text);

}  // namespace collector
