#pragma once

#include <cstddef>

/// Counts the allocations of the program during its lifetime. AllocationProbe.cpp replaces the global operator new of
/// the program that is linked with it.
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

  /// Makes every allocation after the next `successes` ones fail.
  void failAfter(std::size_t successes);
};
