#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "sqm/sessionfiles/SQMStore.h"
#include "sqm/testing/FakeHost.h"

#include "tests/support/AllocationProbe.h"
#include "tests/support/TemporaryFolder.h"

using sqm::SQMStore;
using sqm::testing::FakeHost;

namespace {

/// Takes the lines and keeps nothing.
class DeafConsole : public sqm::SystemConsole {
 public:
  void writeLine(std::string_view /*text*/) override {}
};

class DirectoryMemory : public ::testing::Test {
 protected:
  DirectoryMemory() {
    fakes.host.console = &console;
    store.setSQMDirPath(folder.path());
  }

  FakeHost fakes;
  DeafConsole console;
  TemporaryFolder folder;
  SQMStore store{fakes.host};
};

TEST_F(DirectoryMemory, TheBodyIsInMemoryOnce) {
  constexpr std::size_t kFiles = 50;
  constexpr std::size_t kSize = 300'000;
  constexpr std::size_t kBesideOneFile = 4'000;  // its entry, its path, its handle
  for (std::size_t number = 0; number < kFiles; ++number) {
    putContent(folder / (std::to_string(number) + ".sqm"), std::string(kSize, 'x'));
  }
  const AllocationProbe probe;
  const std::string body = store.getDataFromSQMRec();
  const std::size_t bytes = probe.bytes();
  EXPECT_EQ(body.size(), kFiles * kSize);
  EXPECT_LT(bytes, body.size() + kFiles * kBesideOneFile);
}

TEST_F(DirectoryMemory, FilesThatMemoryHasNoRoomForAreLeftOut) {
  putContent(folder / "a.sqm", std::string(1000, 'a'));
  putContent(folder / "b.sqm", std::string(2000, 'b'));
  std::size_t enough = 0;
  {
    const AllocationProbe probe;
    ASSERT_EQ(store.getDataFromSQMRec().size(), 3000U);
    enough = probe.count();
  }
  AllocationProbe probe;
  probe.failAfter(enough - 1);  // for the listing, and not for the body
  const std::string body = store.getDataFromSQMRec();
  probe.failAfter(1000);
  EXPECT_EQ(body, "");
  EXPECT_EQ(store.getDataFromSQMRec().size(), 3000U);
}

}  // namespace
