#pragma once

#include <cstddef>

/// Counts the allocations of the program during its lifetime. AllocationProbe.cpp replaces the global operator new of
/// the program that is linked with it.
///
/// Threading: one probe at a time, made and used by one thread. It counts the allocations of all threads.
class AllocationProbe {
 public:
  /// Counts allocations of at least this many bytes.
  explicit AllocationProbe(std::size_t atLeast = 0);
  AllocationProbe(const AllocationProbe&) = delete;
  AllocationProbe& operator=(const AllocationProbe&) = delete;
  ~AllocationProbe();

  std::size_t count() const;
  std::size_t bytes() const;

  /// Makes every allocation after the next `successes` ones fail.
  void failAfter(std::size_t successes);
};
