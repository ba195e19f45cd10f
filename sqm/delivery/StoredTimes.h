#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

namespace sqm::delivery {

/// When the texts of a list were stored, the oldest first, in seconds since 1970-01-01 00:00 GMT.
///
/// Texts of the same second take one entry. Of more than `kMostRuns` seconds, neighbours are taken together, with the
/// later time of the two.
class StoredTimes {
 public:
  static constexpr std::size_t kMostRuns = 4096;

  struct Run {
    std::int64_t time = 0;
    std::uint64_t count = 0;
    friend bool operator==(const Run&, const Run&) = default;
  };

  /// One more text, or several.
  void append(std::int64_t time, std::uint64_t count = 1);

  void removeFirst(std::uint64_t count);

  /// Makes them the times of so many texts: of those that are not known, `now`. No time is later than that.
  void fit(std::uint64_t count, std::int64_t now);

  /// The number of texts at the beginning that were stored before this time.
  std::uint64_t countBefore(std::int64_t time) const;

  const std::deque<Run>& runs() const { return runs_; }

 private:
  std::deque<Run> runs_;
  std::uint64_t count_ = 0;
};

}  // namespace sqm::delivery
