#include <gtest/gtest.h>

#include "sqm/platform/system/ResourceFolder.h"

#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

TEST(ResourceFolder, AResourceIsAFileOfTheFolder) {
  const TemporaryFolder folder;
  putContent(folder / "SQMFieldNames.plist", "");
  ResourceFolder resources(folder.path());
  EXPECT_EQ(resources.pathForResource("SQMFieldNames", "plist"), folder / "SQMFieldNames.plist");
  EXPECT_EQ(resources.pathForResource("Other", "plist"), std::nullopt);
}

TEST(ResourceFolder, AFolderIsNoResource) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "a.plist");
  EXPECT_EQ(ResourceFolder(folder.path()).pathForResource("a", "plist"), std::nullopt);
}

TEST(ResourceFolder, NoNameLeadsOutOfTheFolder) {
  const TemporaryFolder folder;
  std::filesystem::create_directory(folder / "resources");
  std::filesystem::create_directory(folder / "resources/below");
  putContent(folder / "out.plist", "");
  putContent(folder / "resources/below/in.plist", "");
  putContent(folder / "resources/a", "");
  ResourceFolder resources(folder / "resources");
  EXPECT_EQ(resources.pathForResource("../out", "plist"), std::nullopt);
  EXPECT_EQ(resources.pathForResource("below/in", "plist"), std::nullopt);
  EXPECT_EQ(resources.pathForResource(folder / "out", "plist"), std::nullopt);
  EXPECT_EQ(resources.pathForResource(".", "/../out.plist"), std::nullopt);
  EXPECT_EQ(resources.pathForResource(std::string_view("a\0", 2), "plist"), std::nullopt);
  EXPECT_EQ(resources.pathForResource("", ""), std::nullopt);
}

TEST(ResourceFolder, ByDefaultItIsTheFolderOfTheExecutable) {
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
  const std::string beside = (program.parent_path() / "ResourceFolderTest.resource").string();
  putContent(beside, "");
  EXPECT_EQ(ResourceFolder().pathForResource("ResourceFolderTest", "resource"), beside);
  std::filesystem::remove(beside);
}

}  // namespace
}  // namespace sqm::platform
