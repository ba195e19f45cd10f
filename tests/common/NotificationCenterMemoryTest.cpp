#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/NotificationCenter.h"

#include "tests/support/AllocationProbe.h"

namespace sqm {
namespace {

TEST(NotificationCenterMemory, PostingAllocatesNothing) {
  NotificationCenter center;
  int calls = 0;
  const auto count = [&](const Notification&) { ++calls; };
  std::vector<NotificationCenter::Registration> registrations;
  for (int observer = 0; observer < 3; ++observer) registrations.push_back(center.addObserver("ended", nullptr, count));
  {
    AllocationProbe probe;
    probe.failAfter(0);
    center.postNotificationName("ended", nullptr);
  }
  EXPECT_EQ(calls, 3);
}

}  // namespace
}  // namespace sqm
