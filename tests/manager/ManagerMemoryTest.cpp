#include <string>

#include <gtest/gtest.h>

#include "tests/support/AllocationProbe.h"
#include "tests/support/ManagerTest.h"

using sqm::RecordType;

namespace {

class ManagerMemory : public ManagerTest {};

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
