#include <cstddef>
#include <string>

#include <gtest/gtest.h>

#include "sqm/platform/files/LogFiles.h"

#include "tests/support/AllocationProbe.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

TEST(LogMemory, ALineForWhichThereIsNoMemoryIsLost) {
  const TemporaryFolder folder;
  LogFiles logs({.folder = folder.path()});
  const std::string text(500, 't');
  std::size_t lost = 0;
  for (std::string content; content.empty(); ++lost) {
    const auto log = logs.initWithFile("a.log", kLogLevel);
    {
      AllocationProbe probe;
      probe.failAfter(lost);
      EXPECT_NO_THROW(log->writeLogToFileWithInfo("USER", kLogLevel, "%@", {text}));
    }
    content = contentOf(folder / "a.log");
    EXPECT_TRUE(content.empty() || content.ends_with(text + "\n")) << content;
  }
  EXPECT_GT(lost, 1U);
}

}  // namespace
}  // namespace sqm::platform
