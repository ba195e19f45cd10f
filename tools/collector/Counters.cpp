#include "tools/collector/Counters.h"

#include <algorithm>
#include <cstdio>

namespace collector {

namespace {

using Clock = std::chrono::steady_clock;

constexpr Clock::duration kWarningInterval = std::chrono::seconds(10);

}  // namespace

void Histogram::add(Clock::duration duration) {
  const double seconds = std::chrono::duration<double>(duration).count();
  const auto index = static_cast<std::size_t>(std::ranges::lower_bound(kLimits, seconds) - kLimits.begin());
  counts_[index].fetch_add(1, std::memory_order_relaxed);
  const auto nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(duration).count();
  nanoseconds_.fetch_add(static_cast<std::uint64_t>(nanoseconds), std::memory_order_relaxed);
}

double Histogram::seconds() const { return static_cast<double>(nanoseconds_.load(std::memory_order_relaxed)) / 1e9; }

void Counters::warn(Count count, std::string_view what) {
  add(count);
  std::atomic<std::int64_t>& next = nextWarnings_[static_cast<std::size_t>(count)];
  const std::int64_t now = Clock::now().time_since_epoch().count();
  std::int64_t due = next.load(std::memory_order_relaxed);
  if (now < due || !next.compare_exchange_strong(due, now + kWarningInterval.count(), std::memory_order_relaxed)) {
    return;
  }
  std::fprintf(stderr, "sqm-collector: %s (%llu so far)\n", printable(what).c_str(),
               static_cast<unsigned long long>(of(count)));
}

std::string printable(std::string_view text) {
  std::string shown(text);
  std::ranges::replace_if(
      shown, [](char character) { return character < ' ' || character > '~'; }, '?');
  return shown;
}

}  // namespace collector
