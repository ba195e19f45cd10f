#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/support/AllocationProbe.h"
#include "tests/support/TemporaryFolder.h"

using sqm::platform::PropertyListFiles;

namespace {

class PropertyListMemory : public ::testing::TestWithParam<bool> {
 protected:
  /// The cost of saving `count` records with many characters that must be escaped.
  struct Cost {
    std::size_t allocations;
    std::size_t bytes;
  };
  Cost costOfSaving(std::size_t count) {
    std::string record;
    while (record.size() < 1'600) record += "<name>a value &amp; more</name>";
    const sqm::TextArray records = std::vector<std::string>(count, record);
    const std::string path = folder_ / "list.plist";
    const AllocationProbe probe;
    const bool isSaved = files_.writeToFile(records, path, GetParam());
    const Cost cost{probe.count(), probe.bytes()};
    EXPECT_TRUE(isSaved);
    EXPECT_GT(contentOf(path).size(), count * record.size());
    return cost;
  }

 private:
  TemporaryFolder folder_;
  sqm::testing::MemoryLogs logs_;
  PropertyListFiles files_{logs_, {}};
};
INSTANTIATE_TEST_SUITE_P(, PropertyListMemory, ::testing::Bool(),
                         [](const auto& way) { return way.param ? "Atomically" : "InPlace"; });

TEST_P(PropertyListMemory, SavingTakesNoMoreMemoryForALongListThanForAShortOne) {
  costOfSaving(1);  // the state of the file is kept from now on
  const Cost ofShortList = costOfSaving(10);
  const Cost ofLongList = costOfSaving(10'000);
  EXPECT_GT(ofShortList.allocations, 0U);
  EXPECT_EQ(ofLongList.allocations, ofShortList.allocations);
  EXPECT_EQ(ofLongList.bytes, ofShortList.bytes);
  EXPECT_LT(ofLongList.bytes, 128U * 1024);
}

TEST(PropertyListLoading, TakesTheSizeOfTheFileAndASizeForEachTextAndNoMemoryForEach) {
  constexpr std::size_t kTexts = 10'000;
  const TemporaryFolder folder;
  const std::string path = folder / "list.plist";
  sqm::testing::MemoryLogs logs;
  PropertyListFiles files(logs, {});
  ASSERT_TRUE(files.writeToFile(std::vector<std::string>(kTexts, std::string(1'600, '<')), path, false));
  const std::size_t size = contentOf(path).size();
  const AllocationProbe probe;
  const auto list = files.arrayWithContentsOfFile(path);
  const std::size_t count = probe.count();
  const std::size_t bytes = probe.bytes();
  ASSERT_TRUE(list && list->size() == kTexts);
  EXPECT_LT(count, 30U);
  EXPECT_LT(bytes, size + 4 * kTexts * sizeof(std::size_t) + 256U * 1024);
}

}  // namespace
