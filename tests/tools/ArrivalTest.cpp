// A body and its records in memory.

#include <cstddef>
#include <malloc.h>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/tools/storage/Arrivals.h"

namespace {

using namespace collector;

const FieldMapping kFields;

std::size_t allocatedBytes() {
  const auto info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

Arrival unsplit(const std::string& body) {
  RequestRow head;
  head.path = "/connection";
  return {std::move(head), "[]", body};
}

TEST(Arrival, CountsWhatItsRecordsTake) {
  if (allocatedBytes() == 0) GTEST_SKIP() << "another allocator is in use, which does not count";
  std::string ordinary;
  for (int i = 0; i < 1000; ++i) {
    ordinary +=
        knownRecord("client with a long name", std::to_string(i), "start", repeated("<ssid>Caf\u00E9</ssid>", 50));
  }
  for (const std::string& records : {repeated("<r/>", 10'000), ordinary}) {
    Arrival arrival = unsplit(documentOf({records}));
    const std::size_t before = allocatedBytes();
    const std::size_t counted = arrival.split(kFields);
    const std::size_t taken = allocatedBytes() - before;
    EXPECT_GT(counted, taken * 4 / 5) << taken;
    EXPECT_LT(counted, taken * 5 / 4) << taken;
  }
}

TEST(Arrival, HasNoRecordsThatTakeMoreThanTheyMay) {
  Arrival arrival = unsplit(documentOf({plainRecord("1"), plainRecord("2"), "<r>"}));
  const std::size_t bytes = arrival.split(kFields);
  EXPECT_EQ(arrival.records.size(), 3U);
  Arrival again = unsplit(arrival.body);
  EXPECT_EQ(again.split(kFields, bytes - 1), bytes);
  EXPECT_TRUE(again.records.empty());
  EXPECT_EQ(again.split(kFields, bytes), bytes);
  EXPECT_EQ(again.records.size(), 3U);
  EXPECT_EQ(again.request.records, 3);
  EXPECT_EQ(again.request.problem, arrival.request.problem);
}

}  // namespace
