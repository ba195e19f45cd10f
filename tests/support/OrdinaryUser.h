#pragma once

#include <filesystem>
#include <optional>
#include <stdlib.h>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tools/support/TemporaryFolder.h"

/// For its lifetime the test runs as a user whom permissions bind, where it was started as one whom they do not. What
/// programs that are started meanwhile tell of their coverage goes to a folder of that user's, and with it.
class OrdinaryUser {
 public:
  OrdinaryUser() {
    constexpr uid_t kNobody = 65534;
    if (::geteuid() != 0) return;
    EXPECT_EQ(::seteuid(kNobody), 0);
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no thread reads it
    ::setenv("GCOV_PREFIX", coverage_.emplace().path().c_str(), /*overwrite=*/1);
  }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;
  ~OrdinaryUser() {
    if (!coverage_) return;
    ::unsetenv("GCOV_PREFIX");  // NOLINT(concurrency-mt-unsafe): no thread reads it
    coverage_.reset();
    EXPECT_EQ(::seteuid(::getuid()), 0);
  }

 private:
  std::optional<tools::TemporaryFolder> coverage_;
};

/// What anybody may do with a folder that nobody may write to.
inline constexpr std::filesystem::perms kReadOnlyFolder =
    std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec | std::filesystem::perms::group_read |
    std::filesystem::perms::group_exec | std::filesystem::perms::others_read | std::filesystem::perms::others_exec;

/// Takes permissions away from a file or folder for its lifetime.
class Forbidden {
 public:
  Forbidden(std::string path, std::filesystem::perms left) : path_(std::move(path)) {
    before_ = std::filesystem::status(path_).permissions();
    std::filesystem::permissions(path_, left);
  }
  Forbidden(const Forbidden&) = delete;
  Forbidden& operator=(const Forbidden&) = delete;
  ~Forbidden() { std::filesystem::permissions(path_, before_); }

 private:
  std::string path_;
  std::filesystem::perms before_;
};
