#include "tests/support/ForgetfulFiles.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace sqm::platform::test {

namespace {

constexpr std::size_t kSector = 512;

int failWith(int error) {
  errno = error;
  return -1;
}

}  // namespace

bool ForgetfulFiles::begin() {
  ++operations_;
  const bool fails = operations_ == fault.operation && fault.error != 0;
  if (isLost() || fails) errno = fails ? fault.error : EIO;
  return !isLost() && !fails;
}

std::unique_ptr<ForgetfulFiles> ForgetfulFiles::afterLoss(Luck luck) const {
  auto disk = std::make_unique<ForgetfulFiles>();
  Names names = syncedNames_;
  for (std::size_t at = 0; at < std::min(luck.names, changes_.size()); ++at) changes_[at](names);
  for (const auto& [name, inode] : names) {
    auto copy = std::make_shared<Inode>(*inode);
    const bool isLonger = inode->bytes.size() > inode->synced.size();
    if (!isLonger && luck.sectors == 0) copy->bytes = inode->synced;
    if (isLonger && luck.sectors != kAll)
      copy->bytes.resize(std::min(inode->synced.size() + kSector * luck.sectors, inode->bytes.size()));
    copy->synced = copy->bytes;
    disk->names_[name] = std::move(copy);
  }
  disk->syncedNames_ = disk->names_;
  disk->inodes_ = inodes_;
  return disk;
}

std::optional<std::string> ForgetfulFiles::content(const std::string& path) const {
  const auto found = names_.find(path);
  return found == names_.end() ? std::nullopt : std::optional(found->second->bytes);
}

ForgetfulFiles::Open* ForgetfulFiles::openFile(int descriptor) {
  const auto found = open_.find(descriptor);
  return found == open_.end() ? nullptr : &found->second;
}

void ForgetfulFiles::change(std::function<void(Names&)> make) {
  make(names_);
  changes_.push_back(std::move(make));
}

int ForgetfulFiles::openat(int /*folder*/, const std::string& path, int flags, mode_t /*mode*/) {
  if (!begin()) return -1;
  if ((flags & O_DIRECTORY) != 0) {
    open_[++descriptors_] = {.path = path};
    return descriptors_;
  }
  auto found = names_.find(path);
  if (found != names_.end() && (flags & O_CREAT) != 0 && (flags & O_EXCL) != 0) return failWith(EEXIST);
  if (found == names_.end()) {
    if ((flags & O_CREAT) == 0) return failWith(ENOENT);
    auto inode = std::make_shared<Inode>();
    inode->number = ++inodes_;
    change([path, inode](Names& names) { names[path] = inode; });
    found = names_.find(path);
  }
  if ((flags & O_TRUNC) != 0) found->second->bytes.clear();
  open_[++descriptors_] = {.path = path, .inode = found->second, .position = 0, .appends = (flags & O_APPEND) != 0};
  return descriptors_;
}

ssize_t ForgetfulFiles::read(int descriptor, void* buffer, std::size_t size) {
  if (!begin()) return -1;
  Open* const file = openFile(descriptor);
  if (file == nullptr || !file->inode) return failWith(EBADF);
  const std::size_t length = file->inode->bytes.copy(static_cast<char*>(buffer), size, file->position);
  file->position += length;
  return static_cast<ssize_t>(length);
}

ssize_t ForgetfulFiles::write(int descriptor, const void* bytes, std::size_t size) {
  if (!begin()) return -1;
  Open* const file = openFile(descriptor);
  if (file == nullptr || !file->inode) return failWith(EBADF);
  if (operations_ == fault.operation) size = (size + 1) / 2;
  std::string& content = file->inode->bytes;
  if (file->appends) file->position = content.size();
  if (content.size() < file->position + size) content.resize(file->position + size);
  content.replace(file->position, size, static_cast<const char*>(bytes), size);
  file->position += size;
  return static_cast<ssize_t>(size);
}

ssize_t ForgetfulFiles::getdents(int /*folder*/, void* /*buffer*/, std::size_t /*size*/) { return failWith(ENOSYS); }

void ForgetfulFiles::describe(const Inode* inode, struct ::stat& status) {
  status = {};
  status.st_mode = inode == nullptr ? S_IFDIR | 0700 : S_IFREG | 0600;
  if (inode != nullptr) status.st_mtim = inode->modified;
  status.st_ino = inode == nullptr ? 1 : inode->number;
  status.st_size = inode == nullptr ? 0 : static_cast<off_t>(inode->bytes.size());
}

int ForgetfulFiles::fstat(int descriptor, struct ::stat& status) {
  if (!begin()) return -1;
  const Open* const file = openFile(descriptor);
  if (file == nullptr) return failWith(EBADF);
  describe(file->inode.get(), status);
  return 0;
}

int ForgetfulFiles::ftruncate(int descriptor, off_t length) {
  if (!begin()) return -1;
  Open* const file = openFile(descriptor);
  if (file == nullptr || !file->inode) return failWith(EBADF);
  file->inode->bytes.resize(static_cast<std::size_t>(length));
  return 0;
}

int ForgetfulFiles::fsync(int descriptor) {
  if (!begin()) return -1;
  Open* const file = openFile(descriptor);
  if (file == nullptr) return failWith(EBADF);
  if (isSyncLeftOut(file->path)) return 0;
  if (file->inode) {
    file->inode->synced = file->inode->bytes;
  } else {
    syncedNames_ = names_;
    changes_.clear();
  }
  return 0;
}

int ForgetfulFiles::futimens(int descriptor, const struct ::timespec& modified) {
  if (!begin()) return -1;
  Open* const file = openFile(descriptor);
  if (file == nullptr || !file->inode) return failWith(EBADF);
  file->inode->modified = modified;
  return 0;
}

ssize_t ForgetfulFiles::pread(int /*descriptor*/, void* /*buffer*/, std::size_t /*size*/, off_t /*offset*/) {
  return failWith(ENOSYS);
}

int ForgetfulFiles::close(int descriptor) {
  open_.erase(descriptor);  // no effect on the disk: not counted
  return 0;
}

int ForgetfulFiles::stat(const std::string& path, struct ::stat& status) {
  if (!begin()) return -1;
  const auto found = names_.find(path);
  if (found == names_.end()) return failWith(ENOENT);
  describe(found->second.get(), status);
  return 0;
}

int ForgetfulFiles::rename(const std::string& from, const std::string& to) {
  if (!begin()) return -1;
  if (!names_.contains(from)) return failWith(ENOENT);
  change([from, to, inode = names_.at(from)](Names& names) {
    names[to] = inode;
    names.erase(from);
  });
  return 0;
}

int ForgetfulFiles::unlinkat(int /*folder*/, const std::string& path, int /*flags*/) {
  if (!begin()) return -1;
  if (!names_.contains(path)) return failWith(ENOENT);
  change([path](Names& names) { names.erase(path); });
  return 0;
}

int ForgetfulFiles::mkdir(const std::string& /*path*/, mode_t /*mode*/) { return failWith(EEXIST); }

}  // namespace sqm::platform::test
