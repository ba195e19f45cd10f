#pragma once

#include <chrono>
#include <cstdint>

namespace sqm {

/// A moment: microseconds since 1970-01-01 00:00:00 GMT.
using Date = std::chrono::sys_time<std::chrono::microseconds>;

/// What time it is. The two readings may come from different clocks, and then tell the same moment apart by up to a
/// second.
///
/// Threading: any thread. Failure: none.
class Clock {
 public:
  virtual ~Clock() = default;

  /// The C library's clock: whole seconds since 1970-01-01 00:00:00 GMT.
  virtual std::int64_t time() const = 0;

  virtual Date date() const = 0;
};

}  // namespace sqm
