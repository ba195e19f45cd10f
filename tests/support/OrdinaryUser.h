#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "tools/support/TemporaryFolder.h"

/// Runs a test that root started as an ordinary user, to whom permissions apply, for the lifetime of the object.
/// Programs started in that time write their coverage to a folder of that user, which is removed with the object.
class OrdinaryUser {
 public:
  OrdinaryUser();
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;
  ~OrdinaryUser();

 private:
  std::optional<tools::TemporaryFolder> coverage_;
};

/// The permissions of a folder that no user can write to.
inline constexpr std::filesystem::perms kReadOnlyFolder =
    std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec | std::filesystem::perms::group_read |
    std::filesystem::perms::group_exec | std::filesystem::perms::others_read | std::filesystem::perms::others_exec;

/// Restricts a file or folder to these permissions for its lifetime.
class RestrictedPermissions {
 public:
  RestrictedPermissions(std::string path, std::filesystem::perms left);
  RestrictedPermissions(const RestrictedPermissions&) = delete;
  RestrictedPermissions& operator=(const RestrictedPermissions&) = delete;
  ~RestrictedPermissions();

 private:
  std::string path_;
  std::filesystem::perms before_;
};
