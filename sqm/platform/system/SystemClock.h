#pragma once

#include <chrono>
#include <ctime>

#include "sqm/common/Clock.h"

namespace sqm::platform {

/// The system's clock.
///
/// Threading: any thread.
class SystemClock : public Clock {
 public:
  std::int64_t time() const override { return std::time(nullptr); }
  Date date() const override { return std::chrono::floor<Date::duration>(std::chrono::system_clock::now()); }
};

}  // namespace sqm::platform
