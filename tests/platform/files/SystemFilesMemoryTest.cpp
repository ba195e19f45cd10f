#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/platform/files/SystemFiles.h"

#include "tests/support/AllocationProbe.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

TEST(SystemFilesMemory, AFileForWhichThereIsNoMemoryIsReported) {
  const TemporaryFolder folder;
  const std::string path = folder / "a";
  putContent(path, std::string(1000, 'a'));
  SystemFiles files;
  std::string content = "before";
  AllocationProbe probe;
  probe.failAfter(0);
  const auto problem = files.read(path, content);
  probe.failAfter(1000);
  EXPECT_EQ(problem, std::errc::not_enough_memory);
  EXPECT_EQ(content, "before");
  EXPECT_FALSE(files.read(path, content));
  EXPECT_EQ(content.size(), 1006U);
}

TEST(SystemFilesMemory, AFileIsReadIntoTheContentWithoutACopy) {
  const TemporaryFolder folder;
  const std::string path = folder / "a";
  putContent(path, std::string(3'000'000, 'a'));
  SystemFiles files;
  std::string content;
  content.reserve(3'000'001);
  const AllocationProbe probe;
  EXPECT_FALSE(files.read(path, content));
  EXPECT_LT(probe.bytes(), 100'000U);
  EXPECT_EQ(content.size(), 3'000'000U);
}

}  // namespace
}  // namespace sqm::platform
