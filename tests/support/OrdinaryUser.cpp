#include "tests/support/OrdinaryUser.h"

#include <stdlib.h>
#include <unistd.h>
#include <utility>

#include <gtest/gtest.h>

OrdinaryUser::OrdinaryUser() {
  constexpr uid_t kNobody = 65534;
  if (::geteuid() != 0) return;
  EXPECT_EQ(::seteuid(kNobody), 0);
  // NOLINTNEXTLINE(concurrency-mt-unsafe): no thread reads it
  ::setenv("GCOV_PREFIX", coverage_.emplace().path().c_str(), /*overwrite=*/1);
}

OrdinaryUser::~OrdinaryUser() {
  if (!coverage_) return;
  ::unsetenv("GCOV_PREFIX");  // NOLINT(concurrency-mt-unsafe): no thread reads it
  coverage_.reset();
  EXPECT_EQ(::seteuid(::getuid()), 0);
}

RestrictedPermissions::RestrictedPermissions(std::string path, std::filesystem::perms left)
    : path_(std::move(path)), before_(std::filesystem::status(path_).permissions()) {
  std::filesystem::permissions(path_, left);
}

RestrictedPermissions::~RestrictedPermissions() { std::filesystem::permissions(path_, before_); }
