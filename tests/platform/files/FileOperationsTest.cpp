#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/internal/WholeFile.h"

#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

using test::Fault;
using test::FaultyFileOperations;

constexpr auto kPrivateFile = static_cast<std::filesystem::perms>(0600);
constexpr auto kPrivateFolder = static_cast<std::filesystem::perms>(0700);

TEST(FileOperations, DescriptorsAreClosedOnExec) {
  const TemporaryFolder folder;
  File file;
  ASSERT_FALSE(file.open(FileOperations::posix(), folder / "a", O_WRONLY | O_CREAT));
  EXPECT_NE(::fcntl(file.descriptor(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(FileOperations, ANewFileIsPrivateToTheUser) {
  const TemporaryFolder folder;
  File file;
  ASSERT_FALSE(file.open(FileOperations::posix(), folder / "a", O_WRONLY | O_CREAT));
  EXPECT_EQ(permissionsOf(folder / "a"), kPrivateFile);
}

TEST(FileOperations, APathWithANulIsRefused) {
  const TemporaryFolder folder;
  File file;
  EXPECT_EQ(file.open(FileOperations::posix(), folder / std::string("a\0b", 3), O_WRONLY | O_CREAT),
            std::errc::invalid_argument);
  EXPECT_TRUE(folder.names().empty());
}

TEST(FileOperations, WhatIsNotARegularFileIsRefusedWithoutBlocking) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  FileOperations& files = FileOperations::posix();
  File file;
  EXPECT_EQ(file.open(files, folder.path(), O_RDONLY), std::errc::is_a_directory);
  EXPECT_EQ(file.open(files, folder / "pipe", O_RDONLY), std::errc::operation_not_supported);
  EXPECT_EQ(file.open(files, folder / "pipe", O_WRONLY), std::errc::no_such_device_or_address);
  EXPECT_EQ(file.open(files, "/dev/null", O_RDONLY), std::errc::operation_not_supported);
  EXPECT_FALSE(file.isOpen());
}

TEST(FileOperations, AMovedFileIsClosedOnce) {
  const TemporaryFolder folder;
  FaultyFileOperations files;
  {
    File first;
    ASSERT_FALSE(first.open(files, folder / "a", O_WRONLY | O_CREAT));
    const File second = std::move(first);
    EXPECT_TRUE(second.isOpen());
  }
  EXPECT_EQ(std::count(files.calls().begin(), files.calls().end(), "close"), 1);
}

TEST(FileOperations, WriteAllContinuesAfterAPartialAndAnInterruptedWrite) {
  for (const Fault fault : {Fault{Fault::Kind::writesHalf, 3, 0}, Fault{Fault::Kind::fails, 3, EINTR}}) {
    const TemporaryFolder folder;
    FaultyFileOperations files(fault);
    File file;
    ASSERT_FALSE(file.open(files, folder / "a", O_WRONLY | O_CREAT));
    EXPECT_FALSE(writeAll(files, file.descriptor(), "0123456789"));
    EXPECT_EQ(contentOf(folder / "a"), "0123456789");
  }
}

TEST(FileOperations, WriteAllReportsItsError) {
  const TemporaryFolder folder;
  FaultyFileOperations files({Fault::Kind::fails, 3, ENOSPC});
  File file;
  ASSERT_FALSE(file.open(files, folder / "a", O_WRONLY | O_CREAT));
  EXPECT_EQ(writeAll(files, file.descriptor(), "0123456789"), std::errc::no_space_on_device);
}

TEST(FileOperations, MissingFoldersAreMade) {
  const TemporaryFolder folder;
  FileOperations& files = FileOperations::posix();
  EXPECT_FALSE(makeFolders(files, folder / "a/b c/d"));
  EXPECT_EQ(permissionsOf(folder / "a"), kPrivateFolder);
  EXPECT_EQ(permissionsOf(folder / "a/b c/d"), kPrivateFolder);
  EXPECT_FALSE(makeFolders(files, folder / "a/b c/d"));
}

TEST(FileOperations, FoldersThatCannotBeMadeAreReported) {
  const TemporaryFolder folder;
  putContent(folder / "file", "");
  EXPECT_EQ(makeFolders(FileOperations::posix(), folder / "file/a/b"), std::errc::not_a_directory);
  EXPECT_EQ(makeFolders(FileOperations::posix(), ""), std::errc::no_such_file_or_directory);
}

TEST(FileOperations, WhatIsNotAFolderIsReported) {
  const TemporaryFolder folder;
  putContent(folder / "file", "");
  std::filesystem::create_symlink("nowhere", folder / "link");
  EXPECT_EQ(makeFolders(FileOperations::posix(), folder / "file"), std::errc::not_a_directory);
  EXPECT_EQ(makeFolders(FileOperations::posix(), folder / "link"), std::errc::no_such_file_or_directory);
  std::filesystem::remove(folder / "link");
  std::filesystem::create_directory_symlink(folder.path(), folder / "link");
  EXPECT_FALSE(makeFolders(FileOperations::posix(), folder / "link"));
}

TEST(WholeFile, IsRead) {
  const TemporaryFolder folder;
  const std::string content(1'000'000, 'x');
  putContent(folder / "a", content);
  FileBytes bytes;
  ASSERT_FALSE(readWholeFile(FileOperations::posix(), folder / "a", content.size(), bytes));
  EXPECT_EQ(bytes.text(), content);
}

TEST(WholeFile, AFileBeyondTheLimitIsRefused) {
  const TemporaryFolder folder;
  putContent(folder / "a", "12345");
  FileBytes bytes;
  EXPECT_EQ(readWholeFile(FileOperations::posix(), folder / "a", 4, bytes), std::errc::file_too_large);
}

TEST(WholeFile, AnInterruptedReadIsRepeatedAndAFailedOneReported) {
  const TemporaryFolder folder;
  putContent(folder / "a", "12345");
  FileBytes bytes;
  FaultyFileOperations interrupted({Fault::Kind::fails, 3, EINTR});
  EXPECT_FALSE(readWholeFile(interrupted, folder / "a", 100, bytes));
  EXPECT_EQ(bytes.text(), "12345");
  FaultyFileOperations failing({Fault::Kind::fails, 3, EIO});
  EXPECT_EQ(readWholeFile(failing, folder / "a", 100, bytes), std::errc::io_error);
}

}  // namespace
}  // namespace sqm::platform
