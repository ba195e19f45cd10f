#pragma once

#include <chrono>
#include <cstdint>

namespace sqm {

/// A moment, in microseconds since 1970-01-01 00:00:00 GMT.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

/// The current time. The two functions may read different clocks, which differ by up to a second.
///
/// Threading: any thread. Failure: none.
class Clock {
 public:
  virtual ~Clock() = default;

  /// Whole seconds since 1970-01-01 00:00:00 GMT, as the C library's `time` returns them.
  virtual std::int64_t time() const = 0;

  virtual Date date() const = 0;
};

}  // namespace sqm
