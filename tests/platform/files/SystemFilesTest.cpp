#include <cerrno>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include "sqm/platform/files/SystemFiles.h"

#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::Fault;
using test::FaultyFileOperations;

TEST(SystemFilesTest, AFileAFolderAndAnEmptyFileExist) {
  const TemporaryFolder folder;
  putContent(folder / "file", "a");
  putContent(folder / "empty", "");
  for (const std::string& path : {folder / "file", folder / "empty", folder.path()}) {
    EXPECT_TRUE(SystemFiles().exists(path)) << path;
  }
}

TEST(SystemFilesTest, WhatIsMissingDoesNotExist) {
  const TemporaryFolder folder;
  putContent(folder / "file", "a");
  std::filesystem::create_symlink("nowhere", folder / "link");
  for (const std::string& path :
       {folder / "missing", folder / "missing/file", folder / "file/file", folder / "link", std::string()}) {
    EXPECT_FALSE(SystemFiles().exists(path)) << path;
  }
}

TEST(SystemFilesTest, AFileThatCannotBeLookedUpIsNotMissing) {
  for (const int error : {EACCES, EIO}) {
    FaultyFileOperations files({Fault::Kind::fails, 1, error});
    EXPECT_TRUE(SystemFiles(files).exists("/file"));
  }
}

}  // namespace
}  // namespace sqm::platform
