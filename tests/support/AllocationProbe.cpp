#include "tests/support/AllocationProbe.h"

#include <atomic>
#include <cstdlib>
#include <limits>
#include <new>

namespace {

constexpr std::size_t kUnlimited = std::numeric_limits<std::size_t>::max();

std::atomic<bool> isWatching = false;
std::atomic<std::size_t> smallest = 0;
std::atomic<std::size_t> allocations = 0;
std::atomic<std::size_t> allocatedBytes = 0;
std::atomic<std::size_t> allowed = kUnlimited;

}  // namespace

AllocationProbe::AllocationProbe(std::size_t atLeast) {
  smallest = atLeast;
  allocations = 0;
  allocatedBytes = 0;
  allowed = kUnlimited;
  isWatching = true;
}

AllocationProbe::~AllocationProbe() { isWatching = false; }

std::size_t AllocationProbe::count() const { return allocations; }

std::size_t AllocationProbe::bytes() const { return allocatedBytes; }

void AllocationProbe::failAfter(std::size_t successes) { allowed = allocations + successes; }

// The other forms of operator new and delete call these.
// NOLINTBEGIN(cppcoreguidelines-no-malloc): this is where memory comes from.

void* operator new(std::size_t size) {
  if (isWatching && size >= smallest) {
    if (allocations >= allowed) throw std::bad_alloc();
    ++allocations;
    allocatedBytes += size;
  }
  void* const memory = std::malloc(size == 0 ? 1 : size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }

void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

// NOLINTEND(cppcoreguidelines-no-malloc)
