#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "sqm/sessionfiles/SQMStore.h"
#include "sqm/testing/FakeHost.h"

#include "tests/support/AllocationProbe.h"

using sqm::SQMStore;
using sqm::testing::FakeHost;

namespace {

/// Discards the lines.
class SilentConsole : public sqm::SystemConsole {
 public:
  void writeLine(std::string_view /*text*/) override {}
};

class DirectoryMemory : public ::testing::Test {
 protected:
  DirectoryMemory() {
    fakes.host.console = &console;
    store.setSQMDirPath("/sessions");
  }

  FakeHost fakes;
  SilentConsole console;
  SQMStore store{fakes.host};
};

TEST_F(DirectoryMemory, TheBodyIsInMemoryOnce) {
  constexpr std::size_t kFiles = 50;
  constexpr std::size_t kSize = 300'000;
  constexpr std::size_t kBesideOneFile = 4'000;  // its entry, its name, its line
  for (std::size_t number = 0; number < kFiles; ++number) {
    fakes.files.put("/sessions/" + std::to_string(number) + ".sqm", std::string(kSize, 'x'));
  }
  const AllocationProbe probe;
  const std::string body = store.getDataFromSQMRec();
  const std::size_t bytes = probe.bytes();
  EXPECT_EQ(body.size(), kFiles * kSize);
  // The first file, by which the rest are reckoned, and an eighth to spare.
  EXPECT_LT(bytes, kSize + body.size() + body.size() / 8 + kFiles * kBesideOneFile);
}

TEST_F(DirectoryMemory, OneLargeFileDoesNotMakeRoomForOthersAsLarge) {
  constexpr std::size_t kLarge = 10'000'000;
  constexpr std::size_t kMostAhead = std::size_t{64} << 20;
  fakes.files.put("/sessions/0.sqm", std::string(kLarge, 'x'));
  for (int number = 1; number < 1'000; ++number) fakes.files.put("/sessions/" + std::to_string(number) + ".sqm", "y");
  const AllocationProbe probe;
  const std::string body = store.getDataFromSQMRec();
  const std::size_t bytes = probe.bytes();
  EXPECT_EQ(body.size(), kLarge + 999);
  EXPECT_LT(bytes, 2 * kLarge + kMostAhead + 1'000 * 1'000);
}

}  // namespace
