#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <dirent.h>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/platform/files/SystemFiles.h"

#include "tests/platform/files/FaultyFileOperations.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

namespace fs = std::filesystem;

using test::Fault;
using test::FaultyFileOperations;
using namespace std::string_literals;
using Names = std::vector<std::string>;

bool isAnyName(std::string_view) { return true; }
bool isWanted(std::string_view name) { return name.starts_with("w"); }

Names namesOf(const std::vector<Files::Entry>& entries) {
  Names names;
  for (const Files::Entry& entry : entries) names.push_back(entry.name);
  std::sort(names.begin(), names.end());
  return names;
}

/// Runs a function before the first read.
class InterferingOperations : public FaultyFileOperations {
 public:
  ssize_t read(int descriptor, void* buffer, std::size_t size) override {
    if (beforeRead) std::exchange(beforeRead, nullptr)();
    return FaultyFileOperations::read(descriptor, buffer, size);
  }

  std::function<void()> beforeRead;
};

class SystemFilesTest : public ::testing::Test {
 protected:
  TemporaryFolder folder;
  SystemFiles files;
  std::vector<Files::Entry> entries;
};

TEST_F(SystemFilesTest, AFileAFolderAndAnEmptyFileExist) {
  putContent(folder / "file", "a");
  putContent(folder / "empty", "");
  for (const std::string& path : {folder / "file", folder / "empty", folder.path()}) {
    EXPECT_TRUE(files.exists(path)) << path;
  }
}

TEST_F(SystemFilesTest, AMissingFileDoesNotExist) {
  putContent(folder / "file", "a");
  fs::create_symlink("nowhere", folder / "link");
  for (const std::string& path :
       {folder / "missing", folder / "missing/file", folder / "file/file", folder / "link", std::string()}) {
    EXPECT_FALSE(files.exists(path)) << path;
  }
}

TEST_F(SystemFilesTest, AFileThatCannotBeLookedUpCountsAsExisting) {
  for (const int error : {EACCES, EIO}) {
    FaultyFileOperations failing({Fault::Kind::fails, 1, error});
    EXPECT_TRUE(SystemFiles(failing).exists("/file"));
  }
}

/// Hides the types of entries, as some file systems do.
class UntypedOperations : public FaultyFileOperations {
 public:
  ssize_t getdents(int descriptor, void* buffer, std::size_t size) override {
    const ssize_t got = FaultyFileOperations::getdents(descriptor, buffer, size);
    for (ssize_t at = 0; at < got;) {
      auto* const entry = reinterpret_cast<::dirent64*>(static_cast<char*>(buffer) + at);
      entry->d_type = DT_UNKNOWN;
      at += entry->d_reclen;
    }
    return got;
  }
};

TEST_F(SystemFilesTest, ListsTheWantedEntriesAndWhichOfThemAreFiles) {
  putContent(folder / "w1", "12345");
  putContent(folder / "w2", "");
  putContent(folder / "other", "1");
  fs::create_directory(folder / "w3");
  ASSERT_EQ(::mkfifo((folder / "w4").c_str(), 0600), 0);
  fs::create_symlink("w1", folder / "w5");
  fs::create_symlink("/dev/zero", folder / "w6");
  fs::create_symlink("w3", folder / "w7");
  const std::map<std::string, bool> expected = {{"w1", true}, {"w2", true},  {"w3", false}, {"w4", false},
                                                {"w5", true}, {"w6", false}, {"w7", false}};
  UntypedOperations untyped;
  for (FileOperations* operations : {&FileOperations::posix(), static_cast<FileOperations*>(&untyped)}) {
    ASSERT_FALSE(SystemFiles(*operations).list(folder.path(), isWanted, entries));
    std::map<std::string, bool> found;
    for (const Files::Entry& entry : entries) found[entry.name] = entry.isRegularFile;
    EXPECT_EQ(found, expected);
  }
}

TEST_F(SystemFilesTest, FilesOfAnOpenFolderAreRead) {
  putContent(folder / "a", "of a");
  fs::create_directory(folder / "below");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  const auto opened = files.open(folder.path());
  ASSERT_NE(opened, nullptr);
  std::string content = "before ";
  EXPECT_FALSE(opened->read("a", content));
  EXPECT_EQ(opened->read("missing", content), std::errc::no_such_file_or_directory);
  EXPECT_EQ(opened->read("below", content), std::errc::is_a_directory);
  EXPECT_EQ(opened->read("pipe", content), std::errc::operation_not_supported);
  EXPECT_EQ(content, "before of a");
}

TEST_F(SystemFilesTest, WhatIsNoFolderCannotBeOpened) {
  putContent(folder / "file", "");
  for (const std::string& path : {folder / "missing", folder / "file", std::string(), folder.path() + "\0more"s}) {
    EXPECT_EQ(files.open(path), nullptr) << path;
  }
}

TEST_F(SystemFilesTest, AFolderOfFilesTakesFourCallsAFile) {
  for (const char* name : {"w1", "w2", "w3"}) putContent(folder / name, "content");
  FaultyFileOperations operations;
  SystemFiles counted(operations);
  ASSERT_FALSE(counted.list(folder.path(), isWanted, entries));
  EXPECT_EQ(operations.calls(), (Names{"open", "fstat", "getdents", "getdents", "close"}));
  const auto opened = counted.open(folder.path());
  const std::size_t before = operations.calls().size();
  std::string content;
  for (const Files::Entry& entry : entries) EXPECT_FALSE(opened->read(entry.name, content));
  const Names ofOneFile = {"open", "fstat", "read", "close"};
  Names expected;
  for (std::size_t file = 0; file < 3; ++file) expected.insert(expected.end(), ofOneFile.begin(), ofOneFile.end());
  const auto from = operations.calls().begin() + static_cast<std::ptrdiff_t>(before);
  EXPECT_EQ(Names(from, operations.calls().end()), expected);
}

TEST_F(SystemFilesTest, LinksThatLeadNowhereAreNotListed) {
  fs::create_symlink("missing", folder / "broken");
  fs::create_symlink("loop", folder / "loop");
  putContent(folder / "file", "");
  ASSERT_FALSE(files.list(folder.path(), isAnyName, entries));
  EXPECT_EQ(namesOf(entries), Names{"file"});
}

TEST_F(SystemFilesTest, AFolderOfAnySizeIsListedWhole) {
  const TemporaryFolder memory("/dev/shm");
  Names expected;
  for (int number = 10'000; number < 15'000; ++number) {
    expected.push_back(std::to_string(number) + " with a name long enough to fill a buffer");
    putContent(memory / expected.back(), "");
  }
  ASSERT_FALSE(files.list(memory.path(), isAnyName, entries));
  EXPECT_EQ(namesOf(entries), expected);
}

TEST_F(SystemFilesTest, WhatCannotBeListedIsReported) {
  putContent(folder / "file", "");
  const std::pair<std::string, std::errc> cases[] = {{folder / "missing", std::errc::no_such_file_or_directory},
                                                     {folder / "file", std::errc::not_a_directory},
                                                     {"", std::errc::no_such_file_or_directory},
                                                     {folder.path() + "\0more"s, std::errc::invalid_argument}};
  for (const auto& [path, problem] : cases) {
    entries = {{"from before", true}};
    EXPECT_EQ(files.list(path, isAnyName, entries), problem) << path;
    EXPECT_EQ(namesOf(entries), Names{}) << path;
  }
}

TEST_F(SystemFilesTest, AFolderThatMustNotBeReadIsReported) {
  putContent(folder / "file", "");
  const RestrictedPermissions forbidden(folder.path(), fs::perms::none);
  const OrdinaryUser user;
  EXPECT_EQ(files.list(folder.path(), isAnyName, entries), std::errc::permission_denied);
}

TEST_F(SystemFilesTest, AListingThatFailsPartWayIsAFailureWithoutEntries) {
  const TemporaryFolder memory("/dev/shm");
  for (int number = 0; number < 3'000; ++number) putContent(memory / std::to_string(number), "");
  FaultyFileOperations dryRun;
  SystemFiles(dryRun).list(memory.path(), isAnyName, entries);
  ASSERT_EQ(entries.size(), 3'000U);
  std::size_t readings = 0;
  for (std::size_t call = 1; call <= dryRun.calls().size(); ++call) {
    if (dryRun.calls()[call - 1] != "getdents") continue;
    ++readings;
    FaultyFileOperations failing({Fault::Kind::fails, call, EIO});
    EXPECT_EQ(SystemFiles(failing).list(memory.path(), isAnyName, entries), std::errc::io_error) << call;
    EXPECT_TRUE(entries.empty()) << call;
    FaultyFileOperations interrupted({Fault::Kind::fails, call, EINTR});
    EXPECT_FALSE(SystemFiles(interrupted).list(memory.path(), isAnyName, entries)) << call;
    EXPECT_EQ(entries.size(), 3'000U) << call;
  }
  EXPECT_GE(readings, 3U) << "the folder takes more than one reading";
}

TEST_F(SystemFilesTest, AnyFaultOfAListingIsReportedOrLeavesALinkOut) {
  putContent(folder / "a", "");
  fs::create_symlink("a", folder / "b");
  FaultyFileOperations dryRun;
  SystemFiles(dryRun).list(folder.path(), isAnyName, entries);
  for (std::size_t call = 1; call <= dryRun.calls().size(); ++call) {
    const std::string& name = dryRun.calls()[call - 1];
    FaultyFileOperations failing({Fault::Kind::fails, call, EIO});
    const auto problem = SystemFiles(failing).list(folder.path(), isAnyName, entries);
    const bool isReported = name == "open" || name == "fstat" || name == "getdents";
    EXPECT_EQ(static_cast<bool>(problem), isReported) << name;
    EXPECT_EQ(entries.size(), isReported ? 0U : name == "stat" ? 1U : 2U) << name;
  }
}

TEST_F(SystemFilesTest, ReadsFilesOfAnySizeWholeAndAppends) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{4095}, std::size_t{4096},
                                 std::size_t{1} << 20, (std::size_t{1} << 20) + 1, std::size_t{5'000'003}}) {
    const std::string bytes(size, '\0');
    putContent(folder / "a", bytes + "end");
    std::string content = "before ";
    EXPECT_FALSE(files.read(folder / "a", content)) << size;
    EXPECT_TRUE(content == "before " + bytes + "end") << size;
  }
}

TEST_F(SystemFilesTest, ReadsThroughALink) {
  putContent(folder / "target", "behind the link");
  fs::create_symlink("target", folder / "link");
  std::string content;
  EXPECT_FALSE(files.read(folder / "link", content));
  EXPECT_EQ(content, "behind the link");
}

TEST_F(SystemFilesTest, WhatCannotBeReadIsReportedAndLeavesTheContent) {
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  fs::create_symlink("/dev/zero", folder / "device");
  putContent(folder / "file", "content");
  const std::pair<std::string, std::errc> cases[] = {{folder / "missing", std::errc::no_such_file_or_directory},
                                                     {folder.path(), std::errc::is_a_directory},
                                                     {folder / "pipe", std::errc::operation_not_supported},
                                                     {folder / "device", std::errc::operation_not_supported},
                                                     {folder / "file\0more"s, std::errc::invalid_argument}};
  for (const auto& [path, problem] : cases) {
    std::string content = "before";
    EXPECT_EQ(files.read(path, content), problem) << path;
    EXPECT_EQ(content, "before") << path;
  }
  fs::permissions(folder.path(), fs::perms::all);
  const RestrictedPermissions forbidden(folder / "file", fs::perms::none);
  const OrdinaryUser user;
  std::string content;
  EXPECT_EQ(files.read(folder / "file", content), std::errc::permission_denied);
}

TEST_F(SystemFilesTest, AnyFaultOfAReadingIsReportedAndLeavesTheContent) {
  putContent(folder / "a", std::string(3'000'000, 'x'));
  FaultyFileOperations dryRun;
  std::string whole;
  ASSERT_FALSE(SystemFiles(dryRun).read(folder / "a", whole));
  for (std::size_t call = 1; call <= dryRun.calls().size(); ++call) {
    const std::string& name = dryRun.calls()[call - 1];
    std::string content = "before";
    FaultyFileOperations failing({Fault::Kind::fails, call, EIO});
    const auto problem = SystemFiles(failing).read(folder / "a", content);
    EXPECT_EQ(static_cast<bool>(problem), name != "close") << name;
    EXPECT_EQ(content.size(), problem ? 6U : 3'000'006U) << name;
    if (name == "fstat") continue;
    FaultyFileOperations interrupted({Fault::Kind::fails, call, EINTR});
    EXPECT_FALSE(SystemFiles(interrupted).read(folder / "a", content = "")) << name;
    EXPECT_TRUE(content == whole) << name;
  }
}

TEST_F(SystemFilesTest, AFileThatChangesWhileItIsReadIsReadAsItIsThen) {
  for (const std::size_t size : {std::size_t{0}, std::size_t{5}, std::size_t{2'000'000}}) {
    for (const std::size_t later : {std::size_t{0}, std::size_t{7}, std::size_t{3'000'000}}) {
      putContent(folder / "a", std::string(size, 'x'));
      InterferingOperations operations;
      operations.beforeRead = [&] { putContent(folder / "a", std::string(later, 'y')); };
      std::string content;
      EXPECT_FALSE(SystemFiles(operations).read(folder / "a", content));
      EXPECT_TRUE(content == std::string(later, 'y')) << size << " " << later;
    }
  }
}

/// Sizes for which there is no memory: more than a text can have, and more than the system grants.
constexpr std::uintmax_t kTooLarge[] = {
    std::numeric_limits<std::int64_t>::max(),
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // these end the process instead
    std::uintmax_t{1} << 47,
#endif
};

TEST_F(SystemFilesTest, AFileThatIsLargerThanMemoryIsReported) {
  const TemporaryFolder memory("/dev/shm");  // an empty file can have any size there
  putContent(memory / "a", "");
  for (const std::uintmax_t size : kTooLarge) {
    fs::resize_file(memory / "a", size);
    std::string content = "before";
    EXPECT_EQ(files.read(memory / "a", content), std::errc::not_enough_memory) << size;
    EXPECT_EQ(content, "before");
  }
}

TEST_F(SystemFilesTest, CreatesAFileWithThePermissionsThatTheUserGivesNewFiles) {
  const mode_t before = ::umask(0027);
  EXPECT_FALSE(files.write(folder / "a", "content"));
  ::umask(before);
  EXPECT_EQ(contentOf(folder / "a"), "content");
  EXPECT_EQ(permissionsOf(folder / "a"), static_cast<fs::perms>(0640));
}

TEST_F(SystemFilesTest, ReplacesTheContentOfAFile) {
  putContent(folder / "a", "a longer text");
  EXPECT_FALSE(files.write(folder / "a", "short"));
  EXPECT_EQ(contentOf(folder / "a"), "short");
  EXPECT_FALSE(files.write(folder / "a", ""));
  EXPECT_EQ(contentOf(folder / "a"), "");
}

TEST_F(SystemFilesTest, AFileThatCannotBeOpenedForWritingIsReported) {
  putContent(folder / "file", "content");
  const std::pair<std::string, std::errc> cases[] = {{folder / "missing/a", std::errc::no_such_file_or_directory},
                                                     {folder / "file/a", std::errc::not_a_directory},
                                                     {folder.path(), std::errc::is_a_directory},
                                                     {folder / "file\0more"s, std::errc::invalid_argument}};
  for (const auto& [path, problem] : cases) EXPECT_EQ(files.write(path, "new"), problem) << path;
  EXPECT_EQ(folder.names(), Names{"file"});
  EXPECT_EQ(contentOf(folder / "file"), "content");
  const RestrictedPermissions forbidden(folder.path(), kReadOnlyFolder);
  const OrdinaryUser user;
  EXPECT_EQ(files.write(folder / "a", "new"), std::errc::permission_denied);
}

TEST_F(SystemFilesTest, AFaultAfterTheOpeningIsNotReported) {
  FaultyFileOperations noSpace({Fault::Kind::fails, 2, ENOSPC});
  EXPECT_FALSE(SystemFiles(noSpace).write(folder / "a", "content"));
  EXPECT_EQ(contentOf(folder / "a"), "");
  FaultyFileOperations closing({Fault::Kind::fails, 3, EIO});
  EXPECT_FALSE(SystemFiles(closing).write(folder / "a", "content"));
  FaultyFileOperations opening({Fault::Kind::fails, 1, EIO});
  EXPECT_EQ(SystemFiles(opening).write(folder / "a", "other"), std::errc::io_error);
  EXPECT_EQ(contentOf(folder / "a"), "content");
  EXPECT_FALSE(files.write("/dev/full", "content"));
}

TEST_F(SystemFilesTest, APartialAndAnInterruptedWriteAreContinued) {
  for (const Fault fault : {Fault{Fault::Kind::writesHalf, 2, 0}, Fault{Fault::Kind::fails, 2, EINTR},
                            Fault{Fault::Kind::fails, 1, EINTR}}) {
    FaultyFileOperations operations(fault);
    EXPECT_FALSE(SystemFiles(operations).write(folder / "a", "0123456789"));
    EXPECT_EQ(contentOf(folder / "a"), "0123456789");
    fs::remove(folder / "a");
  }
}

TEST_F(SystemFilesTest, OnAFullDiskTheFileHoldsTheBeginning) {
  struct rlimit before {};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const auto signalBefore = ::signal(SIGXFSZ, SIG_IGN);
  const struct rlimit full { 100, before.rlim_max };
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &full), 0);
  const auto problem = files.write(folder / "a", std::string(258, 'x'));
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
  ::signal(SIGXFSZ, signalBefore);
  EXPECT_FALSE(problem);
  EXPECT_EQ(contentOf(folder / "a"), std::string(100, 'x'));
}

TEST_F(SystemFilesTest, AReplacedFileAndItsFolderArePrivateToTheUser) {
  const std::string path = folder / "new/below/a";
  ASSERT_FALSE(files.replace(path, {"one ", "", "two"}));
  EXPECT_EQ(contentOf(path), "one two");
  EXPECT_EQ(permissionsOf(path), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(permissionsOf(folder / "new/below"), fs::perms::owner_all);
  ASSERT_FALSE(files.replace(path, {"three"}));
  EXPECT_EQ(contentOf(path), "three");
  EXPECT_EQ(files.replace(folder / "new/below", {"a folder is there"}), std::errc::is_a_directory);
}

TEST_F(SystemFilesTest, AFaultLeavesTheOldFileOrTheNewOne) {
  FaultyFileOperations counting;
  ASSERT_FALSE(SystemFiles(counting).replace(folder / "below/a", {"new", " file"}));
  ASSERT_GT(counting.calls().size(), 5U);
  for (std::size_t call = 1; call <= counting.calls().size(); ++call) {
    ASSERT_FALSE(files.replace(folder / "below/a", {"old file"}));
    FaultyFileOperations operations({Fault::Kind::fails, call, EIO});
    const auto problem = SystemFiles(operations).replace(folder / "below/a", {"new", " file"});
    const bool isRenamed =
        std::ranges::count(operations.calls(), "rename") == 1 && call > 1 && operations.calls()[call - 1] != "rename";
    EXPECT_EQ(contentOf(folder / "below/a"), isRenamed ? "new file" : "old file") << call;
    EXPECT_TRUE(isRenamed || problem) << call;
    EXPECT_FALSE(fs::exists(folder / "below/a.new")) << call;
  }
}

}  // namespace
}  // namespace sqm::platform
