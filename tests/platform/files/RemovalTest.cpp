// How SystemFiles removes files and folders.

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
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

/// A folder to remove, `tree`, beside a folder that must stay as it is, `outside`.
class Removal : public ::testing::Test {
 protected:
  Removal() : tree(folder / "tree"), outside(folder / "outside") { makeOutside(); }

  void makeOutside() {
    fs::create_directories(outside + "/sub");
    putContent(outside + "/file", "outside");
    putContent(outside + "/sub/file", "outside");
  }

  /// Files, folders, and links out of the tree: to a file, to a folder, to the folder above.
  void makeTree() {
    fs::create_directories(tree + "/a/b/c");
    fs::create_directories(tree + "/d/e");
    fs::create_directory(tree + "/empty");
    for (const char* file : {"/1", "/2", "/a/3", "/a/b/4", "/a/b/c/5", "/d/6"}) putContent(tree + file, "inside");
    fs::create_symlink(outside + "/file", tree + "/file link");
    fs::create_directory_symlink(outside, tree + "/folder link");
    fs::create_directory_symlink(outside, tree + "/a/b/c/deep folder link");
    fs::create_directory_symlink("../..", tree + "/a/b/link up");
    fs::create_symlink("missing", tree + "/d/broken link");
  }

  void expectOutsideUntouched() const {
    EXPECT_EQ(contentOf(outside + "/file"), "outside");
    EXPECT_EQ(contentOf(outside + "/sub/file"), "outside");
  }

  TemporaryFolder folder{"/dev/shm"};  // in memory, where thousands of folders are created quickly
  const std::string tree;
  const std::string outside;
  SystemFiles files;
};

TEST_F(Removal, TakesAFileAnEmptyFolderAndAPipe) {
  putContent(folder / "file", "");
  fs::create_directory(folder / "empty");
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  for (const char* name : {"file", "empty", "pipe"}) EXPECT_FALSE(files.remove(folder / name)) << name;
  EXPECT_EQ(folder.names(), Names{"outside"});
}

TEST_F(Removal, TakesALinkAndNotWhatItLeadsTo) {
  fs::create_symlink(outside + "/file", folder / "file link");
  fs::create_directory_symlink(outside, folder / "folder link");
  fs::create_symlink("missing", folder / "broken link");
  fs::create_symlink("/dev/zero", folder / "device link");
  for (const char* name : {"file link", "folder link", "broken link", "device link"}) {
    EXPECT_FALSE(files.remove(folder / name)) << name;
  }
  EXPECT_EQ(folder.names(), Names{"outside"});
  EXPECT_TRUE(fs::exists("/dev/zero"));
  expectOutsideUntouched();
}

TEST_F(Removal, TakesAFolderWithAllThatIsInItAndFollowsNoLink) {
  makeTree();
  EXPECT_FALSE(files.remove(tree));
  EXPECT_EQ(folder.names(), Names{"outside"});
  expectOutsideUntouched();
}

TEST_F(Removal, ReportsWhatIsNotThere) {
  EXPECT_EQ(files.remove(folder / "missing"), std::errc::no_such_file_or_directory);
  EXPECT_EQ(files.remove(""), std::errc::no_such_file_or_directory);
  EXPECT_EQ(files.remove(outside + "\0more"s), std::errc::invalid_argument);
  expectOutsideUntouched();
}

TEST_F(Removal, ADeepFolderNeedsFewDescriptors) {
  constexpr int kDepth = 4'000;  // its path is longer than the system's limit
  fs::create_directory(tree);
  int below = ::open(tree.c_str(), O_RDONLY | O_DIRECTORY);
  for (int depth = 0; depth < kDepth; ++depth) {
    ASSERT_EQ(::mkdirat(below, "sub", 0700), 0);
    ASSERT_EQ(::symlinkat(outside.c_str(), below, "link"), 0);
    const int next = ::openat(below, "sub", O_RDONLY | O_DIRECTORY);
    ASSERT_GE(next, 0);
    ::close(std::exchange(below, next));
  }
  ::close(below);

  struct rlimit before {};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
  const int lowestFree = ::dup(0);
  ::close(lowestFree);
#ifdef __SANITIZE_ADDRESS__
  constexpr rlim_t kFew = 8;  // the sanitizers need descriptors of their own
#else
  constexpr rlim_t kFew = 2;
#endif
  const struct rlimit few { static_cast<rlim_t>(lowestFree) + kFew, before.rlim_max };
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  const auto problem = files.remove(tree);
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_FALSE(problem) << problem.message();
  EXPECT_EQ(folder.names(), Names{"outside"});
  expectOutsideUntouched();
}

TEST_F(Removal, AWideFolderIsRemovedWhole) {
  for (int number = 0; number < 2'000; ++number) {
    const std::string name = tree + "/" + std::to_string(number);
    fs::create_directories(name);
    putContent(name + "/file", "");
  }
  EXPECT_FALSE(files.remove(tree));
  EXPECT_EQ(folder.names(), Names{"outside"});
}

TEST_F(Removal, WhatMustNotBeRemovedStaysAndTheRestGoes) {
  makeTree();
  for (const auto& entry : fs::recursive_directory_iterator(tree)) {
    if (!entry.is_symlink()) fs::permissions(entry, fs::perms::all);
  }
  fs::permissions(tree, fs::perms::all);
  fs::permissions(folder.path(), fs::perms::all);
  {
    const RestrictedPermissions unreadable(tree + "/d", fs::perms::none);
    const RestrictedPermissions readOnly(tree + "/a/b", kReadOnlyFolder);
    const OrdinaryUser user;
    EXPECT_EQ(files.remove(tree), std::errc::permission_denied);
  }
  Names left;
  for (const auto& entry : fs::recursive_directory_iterator(tree))
    left.push_back(entry.path().lexically_relative(tree));
  std::sort(left.begin(), left.end());
  EXPECT_EQ(left, (Names{"a", "a/b", "a/b/4", "a/b/c", "a/b/c/5", "a/b/c/deep folder link", "a/b/link up", "d", "d/6",
                         "d/broken link", "d/e"}));
  expectOutsideUntouched();
  EXPECT_FALSE(files.remove(tree));
}

TEST_F(Removal, AnyFaultIsReportedOrHarmlessAndALaterRemovalCompletesIt) {
  makeTree();
  FaultyFileOperations dryRun;
  ASSERT_FALSE(SystemFiles(dryRun).remove(tree));
  for (std::size_t call = 1; call <= dryRun.calls().size(); ++call) {
    makeTree();
    FaultyFileOperations failing({Fault::Kind::fails, call, EIO});
    const auto problem = SystemFiles(failing).remove(tree);
    EXPECT_EQ(fs::exists(tree), static_cast<bool>(problem)) << call << " " << dryRun.calls()[call - 1];
    if (problem) {
      EXPECT_FALSE(files.remove(tree)) << call;
    }
    EXPECT_EQ(folder.names(), Names{"outside"}) << call;
    expectOutsideUntouched();
  }
}

/// Runs a function before a folder of this name is opened.
class InterferingOperations : public FaultyFileOperations {
 public:
  InterferingOperations(std::string name, std::function<void()> interfere)
      : name_(std::move(name)), interfere_(std::move(interfere)) {}

  int openat(int parent, const std::string& path, int flags, mode_t mode) override {
    if (path == name_ && interfere_) std::exchange(interfere_, nullptr)();
    return FaultyFileOperations::openat(parent, path, flags, mode);
  }

 private:
  std::string name_;
  std::function<void()> interfere_;
};

TEST_F(Removal, AFolderThatIsReplacedByALinkMeanwhileIsNotFollowed) {
  for (const std::string& name : {tree, "a"s}) {
    makeTree();
    const std::string path = name == tree ? tree : tree + "/" + name;
    InterferingOperations operations(name, [&] {
      fs::rename(path, folder / "moved");
      fs::create_directory_symlink(outside, path);
    });
    EXPECT_TRUE(SystemFiles(operations).remove(tree)) << name;
    expectOutsideUntouched();
    EXPECT_EQ(contentOf(folder / (name == tree ? "moved/a/3" : "moved/3")), "inside") << name;
    EXPECT_FALSE(files.remove(folder / "moved"));
    files.remove(tree);
  }
}

TEST_F(Removal, AFolderThatIsMovedOutMeanwhileEndsTheRemoval) {
  fs::create_directories(tree + "/a/b/c");
  putContent(tree + "/a/b/c/file", "inside");
  InterferingOperations operations("..", [&] { fs::rename(tree + "/a/b/c", outside + "/c"); });
  EXPECT_EQ(SystemFiles(operations).remove(tree).value(), ESTALE);
  EXPECT_TRUE(fs::exists(outside + "/c"));
  expectOutsideUntouched();
}

}  // namespace
}  // namespace sqm::platform
