#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "sqm/store/SQMRecordStore.h"
#include "sqm/testing/FakeHost.h"

#include "tests/support/AllocationProbe.h"

using sqm::RecordType;
using sqm::SQMRecordStore;
using sqm::testing::FakeHost;

namespace {

const std::string kRecord(1000, 'r');

TEST(DocumentAllocation, DocumentIsBuiltInOneBuffer) {
  FakeHost fakes;
  SQMRecordStore store(fakes.host);
  for (const RecordType type :
       {RecordType::client, RecordType::connection, RecordType::device, RecordType::application}) {
    for (int count = 0; count < 100; ++count) store.saveSQMRecordType(static_cast<std::int64_t>(type), kRecord);
    const AllocationProbe probe;
    const auto document = store.document(type);
    const std::size_t count = probe.count();
    const std::size_t bytes = probe.bytes();
    EXPECT_EQ(count, 1U) << static_cast<std::int64_t>(type);
    EXPECT_LT(bytes, document->size() + kRecord.size()) << static_cast<std::int64_t>(type);
  }
}

/// A console that keeps nothing.
class SilentConsole : public sqm::SystemConsole {
 public:
  void writeLine(std::string_view /*text*/) override {}
};

TEST(DocumentAllocation, TheConsoleLineIsTheSameBuffer) {
  FakeHost fakes;
  SilentConsole console;
  fakes.host.console = &console;
  SQMRecordStore store(fakes.host);
  for (int count = 0; count < 100; ++count) store.saveSQMUserAcceptanceRecordToStore(kRecord);
  const AllocationProbe probe;
  const auto document = store.getUserAcceptanceRecordXMLAsString();
  EXPECT_EQ(probe.count(), 1U);
  EXPECT_LT(probe.bytes(), document->size() + 100);
}

TEST(DocumentAllocation, StoredTextsTakeNoMemoryOfTheirOwn) {
  FakeHost fakes;
  SQMRecordStore store(fakes.host);
  const AllocationProbe probe;
  for (int count = 0; count < 1'000; ++count) store.saveSQMClientRecordToStore(kRecord);
  EXPECT_LT(probe.count(), 40U) << "the list grows in few steps";
}

}  // namespace
