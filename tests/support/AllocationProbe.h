#pragma once

#include <cstddef>

/// Watches the allocations that the program makes while it lives. A binary that is linked with AllocationProbe.cpp has
/// its global operator new replaced for that.
///
/// Threading: one probe at a time, and one thread.
class AllocationProbe {
 public:
  AllocationProbe();
  AllocationProbe(const AllocationProbe&) = delete;
  AllocationProbe& operator=(const AllocationProbe&) = delete;
  ~AllocationProbe();

  std::size_t count() const;
  std::size_t bytes() const;

  /// Lets this many allocations succeed, and no other.
  void failAfter(std::size_t successes);
};
