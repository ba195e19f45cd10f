#include <filesystem>
#include <pwd.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "sqm/platform/system/HomeFolders.h"

#include "tests/platform/system/Environment.h"

namespace sqm::platform {
namespace {

using test::EnvironmentVariable;

TEST(HomeFolders, TheOptionComesFirst) {
  const EnvironmentVariable home("HOME", "/home/from/environment");
  EXPECT_EQ(HomeFolders("/home/given").homeDirectory(), "/home/given");
  EXPECT_EQ(HomeFolders("/home/given//").homeDirectory(), "/home/given");
  EXPECT_EQ(HomeFolders("given").homeDirectory(), (std::filesystem::current_path() / "given").string());
}

TEST(HomeFolders, TheEnvironmentIsReadInEachCall) {
  const HomeFolders folders;
  const EnvironmentVariable first("HOME", "/home/first/");
  EXPECT_EQ(folders.homeDirectory(), "/home/first");
  const EnvironmentVariable second("HOME", "/home/second");
  EXPECT_EQ(folders.homeDirectory(), "/home/second");
}

TEST(HomeFolders, WithoutAnEnvironmentThePasswordDatabaseIsRead) {
  // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread
  const passwd* entry = ::getpwuid(::getuid());
  ASSERT_NE(entry, nullptr);
  const std::string expected = entry->pw_dir;
  for (const char* home : {static_cast<const char*>(nullptr), ""}) {
    const EnvironmentVariable none("HOME", home);
    EXPECT_EQ(HomeFolders().homeDirectory(), expected);
  }
}

TEST(HomeFolders, TheApplicationsFoldersAreInIt) {
  const HomeFolders folders("/home/given");
  EXPECT_EQ(folders.applicationQuenfaFolderPath(), "/home/given/Library/Application Support/Trelk/Trelk Quenfa");
  EXPECT_EQ(folders.logFolder(), "/home/given/Library/Logs/Trelk/Trelk Quenfa");
}

}  // namespace
}  // namespace sqm::platform
