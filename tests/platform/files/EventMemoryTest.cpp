#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"

#include "tests/support/AllocationProbe.h"
#include "tests/support/Paths.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

class EventMemory : public ::testing::Test {
 protected:
  EventMemory() {
    std::filesystem::copy_file(paths::sources() + "/examples/SQMFieldNames.plist", folder_ / "SQMFieldNames.plist");
    StandardHost::Options options;
    options.homeDirectory = folder_.path();
    options.resourceDirectory = folder_.path();
    host_.emplace(options);
    manager_.emplace(*host_);
    manager_->setDeviceType(1);
  }

  static void fill(SQMSessionParams& params) {
    for (std::int64_t key = 1; key <= 35; ++key) params.setStringValue("a value of some length", key);
  }

  /// The allocations of each of many events, in ascending order.
  template <typename Event>
  static std::vector<std::size_t> allocationsOf(Event event) {
    event();  // the first one parses the table
    std::vector<std::size_t> counts(200);
    for (std::size_t& count : counts) {
      const AllocationProbe probe;
      event();
      count = probe.count();
    }
    std::sort(counts.begin(), counts.end());
    return counts;
  }

  TemporaryFolder folder_;
  std::optional<StandardHost> host_;
  std::optional<SQMManager> manager_;
};

/// Now and then the list of the records grows: its texts and their positions.
constexpr std::size_t kGrowth = 2;

TEST_F(EventMemory, AConnectionStartMakesTheSameAllocationsEveryTime) {
  SQMSessionParams params;
  fill(params);
  const auto counts = allocationsOf([&] { manager_->sqmCreateStartRecord(&params); });
  // The table's path, the record, its values, an escaped value, and the text.
  constexpr std::size_t kAllocations = 5;
  EXPECT_EQ(counts.front(), kAllocations);
  EXPECT_EQ(counts[counts.size() * 9 / 10], kAllocations);
  EXPECT_LE(counts.back(), kAllocations + kGrowth);
}

TEST_F(EventMemory, AConnectionStopAllocatesItsTextAlone) {
  SQMSessionParams params;
  fill(params);
  manager_->sqmCreateStartRecord(&params);
  const auto counts = allocationsOf([&] { manager_->sqmCreateStopRecord(&params); });
  EXPECT_EQ(counts.front(), 1U);
  EXPECT_EQ(counts[counts.size() * 9 / 10], 1U);
  EXPECT_LE(counts.back(), 1U + kGrowth);
}

TEST_F(EventMemory, TheValuesOfAnEventAreOneAllocation) {
  const auto counts = allocationsOf([] {
    SQMSessionParams params;
    fill(params);
  });
  EXPECT_EQ(counts.front(), 1U);
  EXPECT_EQ(counts.back(), 1U);
}

}  // namespace
}  // namespace sqm::platform
