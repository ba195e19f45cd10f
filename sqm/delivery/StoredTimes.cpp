#include "sqm/delivery/StoredTimes.h"

#include <algorithm>

namespace sqm::delivery {

namespace {

void halve(std::deque<StoredTimes::Run>& runs) {
  std::size_t kept = 0;
  for (std::size_t at = 0; at < runs.size(); at += 2, ++kept) {
    StoredTimes::Run run = runs[at];
    if (at + 1 < runs.size()) {
      run.time = std::max(run.time, runs[at + 1].time);
      run.count += runs[at + 1].count;
    }
    runs[kept] = run;
  }
  runs.resize(kept);
}

}  // namespace

void StoredTimes::append(std::int64_t time, std::uint64_t count) {
  if (count == 0) return;
  count_ += count;
  if (!runs_.empty() && runs_.back().time == time) {
    runs_.back().count += count;
    return;
  }
  runs_.push_back({time, count});
  if (runs_.size() > kMostRuns) halve(runs_);
}

void StoredTimes::removeFirst(std::uint64_t count) {
  count_ -= std::min(count_, count);
  while (count > 0 && !runs_.empty()) {
    Run& first = runs_.front();
    const std::uint64_t removed = std::min(first.count, count);
    first.count -= removed;
    count -= removed;
    if (first.count == 0) runs_.pop_front();
  }
}

void StoredTimes::fit(std::uint64_t count, std::int64_t now) {
  for (Run& run : runs_) run.time = std::min(run.time, now);
  if (count < count_) {
    removeFirst(count_ - count);
  } else {
    append(now, count - count_);
  }
}

std::uint64_t StoredTimes::countBefore(std::int64_t time) const {
  std::uint64_t count = 0;
  for (const Run& run : runs_) {
    if (run.time >= time) break;
    count += run.count;
  }
  return count;
}

}  // namespace sqm::delivery
