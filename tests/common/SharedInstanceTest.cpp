#include <atomic>
#include <barrier>
#include <cstdint>
#include <limits>
#include <set>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/SharedInstance.h"

using sqm::SharedInstance;

namespace {

/// One class for each test that needs a first call.
template <int kTest>
class Single : public SharedInstance<Single<kTest>> {
 public:
  static Single* sharedSingle() { return SharedInstance<Single>::shared(); }
  static inline std::atomic<int> made = 0;

 private:
  friend class SharedInstance<Single>;
  Single() { ++made; }
  ~Single() = default;
};

TEST(SharedInstance, EveryCallGivesTheSameObject) {
  using Class = Single<1>;
  Class* const first = Class::sharedSingle();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(Class::sharedSingle(), first);
  EXPECT_EQ(Class::made, 1);
}

TEST(SharedInstance, FirstAllocationMakesTheSharedObject) {
  using Class = Single<2>;
  Class* const allocated = Class::alloc();
  ASSERT_NE(allocated, nullptr);
  EXPECT_EQ(Class::sharedSingle(), allocated);
}

TEST(SharedInstance, SecondAllocationGivesNothing) {
  using Class = Single<3>;
  ASSERT_NE(Class::alloc(), nullptr);
  EXPECT_EQ(Class::alloc(), nullptr);
  EXPECT_EQ(Class::made, 1);
}

TEST(SharedInstance, AllocationAfterTheFirstUseGivesNothing) {
  using Class = Single<4>;
  Class::sharedSingle();
  EXPECT_EQ(Class::alloc(), nullptr);
  EXPECT_EQ(Class::made, 1);
}

TEST(SharedInstance, CopyRetainAndReleaseLeaveTheObjectAsItIs) {
  using Class = Single<5>;
  Class* const object = Class::sharedSingle();
  EXPECT_EQ(object->copy(), object);
  EXPECT_EQ(object->retain(), object);
  EXPECT_EQ(object->autorelease(), object);
  for (int i = 0; i < 10; ++i) object->release();
  EXPECT_EQ(Class::sharedSingle(), object);
  EXPECT_EQ(object->retainCount(), std::numeric_limits<std::uint64_t>::max());
}

TEST(SharedInstance, CannotBeMadeCopiedOrDestroyedOtherwise) {
  using Class = Single<6>;
  EXPECT_FALSE(std::is_default_constructible_v<Class>);
  EXPECT_FALSE(std::is_copy_constructible_v<Class>);
  EXPECT_FALSE(std::is_copy_assignable_v<Class>);
  EXPECT_FALSE(std::is_destructible_v<Class>);
}

TEST(SharedInstance, ConcurrentFirstCallsMakeOneObject) {
  using Class = Single<7>;
  constexpr std::size_t kThreads = 8;
  std::barrier start(kThreads);
  std::vector<Class*> shared(kThreads);
  std::vector<Class*> allocated(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      start.arrive_and_wait();
      if (i % 2 == 0) allocated[i] = Class::alloc();
      shared[i] = Class::sharedSingle();
    });
  }
  for (std::thread& thread : threads) thread.join();

  EXPECT_EQ(Class::made, 1);
  EXPECT_EQ(std::set<Class*>(shared.begin(), shared.end()), std::set<Class*>{Class::sharedSingle()});
  std::erase(allocated, nullptr);
  EXPECT_LE(allocated.size(), 1U);
}

}  // namespace
