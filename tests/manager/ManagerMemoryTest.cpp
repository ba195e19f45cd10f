#include <string>

#include <gtest/gtest.h>

#include "tests/support/AllocationProbe.h"
#include "tests/support/ManagerTest.h"
#include "tests/support/ObservedLogs.h"

using sqm::RecordType;

namespace {

/// A manager whose log lines are not kept: they would be copies of the documents.
class ManagerMemory : public ManagerTest {
 protected:
  ManagerMemory() { fakes.host.logFiles = &logs_; }
  void TearDown() override { manager.reset(); }  // before its log's factory

 private:
  ObservedLogs logs_;
};

TEST_F(ManagerMemory, DocumentsAreMovedAllTheWay) {
  const std::string large(1'000'000, 'r');
  manager.reset();
  fakes.propertyLists.put(storeFile(RecordType::client), sqm::TextArray{large});
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
