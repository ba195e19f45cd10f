#include <new>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/AllocationProbe.h"
#include "tests/support/ManagerTest.h"
#include "tests/support/ObservedLogs.h"

using sqm::RecordType;
using sqm::ValueDictionary;

namespace {

class ManagerMemory : public ManagerTest {
 protected:
  ManagerMemory() {
    fakes.host.logFiles = &logs_;
    restart();
    manager->setDeviceType(1);
  }
  void TearDown() override { manager.reset(); }  // before the factory of its log

  /// Makes the call with memory for this many allocations. Returns false when they were enough.
  bool failsAfter(std::size_t number, bool (sqm::SQMManager::*create)(const sqm::SQMSessionParams*)) {
    AllocationProbe probe;
    probe.failAfter(number);
    try {
      (*manager.*create)(&params);
      return false;
    } catch (const std::bad_alloc&) {
      return true;
    }
  }

  /// The values of the kept connection record in a stop.
  Values valuesAtStop() {
    const auto disabled = std::exchange(fakes.filter.disabled, [](const auto&) { return true; });
    manager->sqmCreateStopRecord(&params);
    fakes.filter.disabled = disabled;
    return queriedValues();
  }

  const sqm::SQMSessionParams params = everyParam();

 private:
  ObservedLogs logs_;
};

TEST_F(ManagerMemory, StopWithoutMemoryLeavesTheStoreAndTheKeptRecordAsTheyWere) {
  manager->sqmCreateStartRecord(&params);
  const auto records = stored(RecordType::connection);
  const Values own = valuesAtStop();
  ValueDictionary other;
  other.set("F6", "filtered");
  fakes.filter.replaced = [&](const auto&) { return other; };

  std::size_t number = 0;
  for (; failsAfter(number, &sqm::SQMManager::sqmCreateStopRecord); ++number) {
    ASSERT_EQ(stored(RecordType::connection), records) << number;
    ASSERT_EQ(valuesAtStop(), own) << number;
  }
  EXPECT_GT(number, 0U);
  EXPECT_EQ(stored(RecordType::connection).size(), records.size() + 1);
}

TEST_F(ManagerMemory, StartWithoutMemoryLeavesTheStoreAsItWasAndAStopPossible) {
  std::size_t number = 0;
  for (; failsAfter(number, &sqm::SQMManager::sqmCreateStartRecord); ++number) {
    ASSERT_EQ(storedInAll(), 0U) << number;
    const Values values = valuesAtStop();
    for (const auto& [key, value] : values) {
      ASSERT_TRUE(value == "stop" || value == "0" || value == "1" || value.starts_with("v" + key.substr(1) + "&"))
          << number << " " << key << " " << value;
    }
  }
  EXPECT_GT(number, 0U);
  EXPECT_EQ(storedInAll(), 1U);
}

TEST_F(ManagerMemory, DocumentsAreMovedAllTheWay) {
  const std::string large(1'000'000, 'r');
  manager.reset();
  fakes.propertyLists.put(storeFile(RecordType::client), sqm::PropertyList::Array{large});
  restart();
  std::size_t bytes = 0;
  {
    const AllocationProbe probe;
    manager->uploadSQM();
    bytes = probe.bytes();
  }
  EXPECT_LT(bytes, 2 * large.size());
  ASSERT_EQ(fakes.http.requests().size(), 1U);
  EXPECT_EQ(fakes.http.requests()[0].data, listDocument("clientList", large));
}

}  // namespace
