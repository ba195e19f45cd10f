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
  constexpr std::size_t kBesideOneFile = 4'000;  // its entry, its path, its line
  for (std::size_t number = 0; number < kFiles; ++number) {
    fakes.files.put("/sessions/" + std::to_string(number) + ".sqm", std::string(kSize, 'x'));
  }
  const AllocationProbe probe;
  const std::string body = store.getDataFromSQMRec();
  const std::size_t bytes = probe.bytes();
  EXPECT_EQ(body.size(), kFiles * kSize);
  EXPECT_LT(bytes, body.size() + kFiles * kBesideOneFile);
}

}  // namespace
