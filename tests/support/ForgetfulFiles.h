#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform::test {

/// A disk in memory that forgets, at a loss of power, what was not synced: bytes of files, and names of folders.
///
/// Folders are not nested: a path is a name, and every path has the same folder.
class ForgetfulFiles : public FileOperations {
 public:
  /// How much of what was not synced reached the disk by chance.
  struct Luck {
    /// Of the bytes that were written to each file behind those that were synced: sectors of 512 bytes.
    std::size_t sectors = 0;
    /// Of the changes of names, in their order.
    std::size_t names = 0;
  };
  static constexpr std::size_t kAll = static_cast<std::size_t>(-1);

  /// The power is lost before the operation of this number, counted from 1: it and all later ones fail.
  explicit ForgetfulFiles(std::size_t lostAt = kAll) : lostAt_(lostAt) {}

  /// The operation of this number, counted from 1, fails with this error; without an error, a write writes half.
  struct Fault {
    std::size_t operation = 0;
    int error = 0;
  };
  Fault fault = {};

  bool isLost() const { return operations_ >= lostAt_; }
  std::size_t operations() const { return operations_; }

  /// Syncs of what was opened by a path for which this is true have no effect: to show that a test notices.
  std::function<bool(const std::string& path)> isSyncLeftOut = [](const std::string&) { return false; };

  /// The disk after the loss of power and the next start.
  std::unique_ptr<ForgetfulFiles> afterLoss(Luck luck) const;

  /// The number of changes of names that a loss of power may forget.
  std::size_t unsyncedNames() const { return changes_.size(); }

  /// Nothing when there is no such file.
  std::optional<std::string> content(const std::string& path) const;

  int openat(int folder, const std::string& path, int flags, mode_t mode) override;
  ssize_t read(int descriptor, void* buffer, std::size_t size) override;
  ssize_t write(int descriptor, const void* bytes, std::size_t size) override;
  ssize_t getdents(int folder, void* buffer, std::size_t size) override;
  int fstat(int descriptor, struct ::stat& status) override;
  int ftruncate(int descriptor, off_t length) override;
  int fsync(int descriptor) override;
  int lock(int /*descriptor*/, pid_t& /*owner*/) override { return 0; }
  int futimens(int descriptor, const struct ::timespec& modified) override;
  ssize_t pread(int descriptor, void* buffer, std::size_t size, off_t offset) override;
  int close(int descriptor) override;
  int stat(const std::string& path, struct ::stat& status) override;
  int rename(const std::string& from, const std::string& to) override;
  int unlinkat(int folder, const std::string& path, int flags) override;
  int mkdir(const std::string& path, mode_t mode) override;

 private:
  struct Inode {
    std::size_t number = 0;
    struct ::timespec modified {};
    std::string bytes;
    std::string synced;  // the bytes that survive a loss of power
  };
  using Names = std::map<std::string, std::shared_ptr<Inode>>;
  struct Open {
    std::string path;
    std::shared_ptr<Inode> inode = nullptr;  // null for the folder
    std::size_t position = 0;
    bool appends = false;
  };

  bool begin();
  Open* openFile(int descriptor);
  void change(std::function<void(Names&)> make);
  static void describe(const Inode* inode, struct ::stat& status);

  std::size_t lostAt_;
  std::size_t operations_ = 0;
  std::size_t inodes_ = 1;
  int descriptors_ = 100;
  Names names_;
  Names syncedNames_;
  std::vector<std::function<void(Names&)>> changes_;  // of names, since the folder was synced
  std::map<int, Open> open_;
};

}  // namespace sqm::platform::test
