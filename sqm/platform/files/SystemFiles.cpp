#include "sqm/platform/files/SystemFiles.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <dirent.h>
#include <fcntl.h>
#include <utility>

#include "sqm/common/internal/TryReserve.h"
#include "sqm/platform/files/internal/WholeFile.h"
#include "sqm/platform/system/internal/FolderEntries.h"

namespace sqm::platform {

namespace {

constexpr int kFolder = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;
constexpr mode_t kNewFile = 0666;  // as with fopen, less the umask

/// Appends the file to `content`. The string fills what it grows by with zeros: the steps keep that in the cache.
std::error_code appendAll(FileOperations& operations, const File& file, std::string& content) {
  constexpr std::uintmax_t kLongestStep = 1 << 20;
  auto expected = static_cast<std::uintmax_t>(file.status().st_size);
  if (!tryReserve(content, expected + 1)) return make_error_code(std::errc::not_enough_memory);
  for (;;) {
    // One byte more than expected: a file that did not grow ends before it.
    const auto step = static_cast<std::size_t>(std::min(expected, kLongestStep)) + 1;
    const std::size_t end = content.size();
    if (!tryReserve(content, step)) return make_error_code(std::errc::not_enough_memory);
    content.resize(end + step);
    ssize_t got = 0;
    do {
      got = operations.read(file.descriptor(), content.data() + end, step);
    } while (got < 0 && errno == EINTR);
    if (got < 0) return lastError();
    const auto count = static_cast<std::size_t>(got);
    content.resize(end + count);
    if (count == 0 || (count < step && count == expected)) return {};
    expected = expected > count ? expected - count : kLongestStep;
  }
}

/// Appends the file to `content`, which stays as it is after a failure. A relative path begins at `folder`.
std::error_code appendFile(FileOperations& operations, const std::string& path, std::string& content,
                           int folder = AT_FDCWD) {
  File file;
  if (const auto problem = file.open(operations, path, O_RDONLY, folder)) return problem;
  const std::size_t before = content.size();
  const auto problem = appendAll(operations, file, content);
  if (problem) content.resize(before);
  return problem;
}

/// Calls `take` with the name and the type (d_type) of each entry of a folder that was just opened, without "." and
/// "..", in the order of the file system.
template <typename Take>
std::error_code forEachEntry(FileOperations& files, const File& folder, Take&& take) {
  constexpr std::size_t kBuffer = 32'768;
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the system fills it
  alignas(kFolderEntryAlignment) std::array<char, kBuffer> buffer;
  for (;;) {
    const ssize_t size = files.getdents(folder.descriptor(), buffer.data(), buffer.size());
    if (size == 0) return {};
    if (size < 0) {
      if (errno == EINTR) continue;
      return lastError();
    }
    forEachFolderEntry(buffer.data(), static_cast<std::size_t>(size), [&take](std::string_view name, int type) {
      if (name != "." && name != "..") take(name, type);
    });
  }
}

/// A folder between the first one and the one that is open.
struct Level {
  dev_t device;
  ino_t inode;
  std::vector<std::string> folders;  // those in it that are not empty yet
};

bool isNotEmpty(const std::error_code& problem) {
  return problem == std::errc::directory_not_empty || problem == std::errc::file_exists;  // POSIX allows both
}

void keepFirst(std::error_code& first, const std::error_code& problem) {
  if (!first) first = problem;
}

/// Removes an entry, unless it is a folder with something in it.
std::error_code removeEntry(FileOperations& files, int folder, const std::string& name) {
  if (files.unlinkat(folder, name, 0) == 0) return {};
  if (errno == EISDIR && files.unlinkat(folder, name, AT_REMOVEDIR) == 0) return {};
  return lastError();
}

Level removeEntries(FileOperations& files, const File& folder, std::error_code& first) {
  Level level{folder.status().st_dev, folder.status().st_ino, {}};
  std::vector<std::string> names;
  const auto listed = forEachEntry(files, folder, [&](std::string_view name, int) { names.emplace_back(name); });
  if (listed) names.clear();  // a part of them is not removed either
  keepFirst(first, listed);
  for (std::string& name : names) {
    const auto problem = removeEntry(files, folder.descriptor(), name);
    if (isNotEmpty(problem)) {
      level.folders.push_back(std::move(name));
    } else {
      keepFirst(first, problem);
    }
  }
  return level;
}

/// Walks down into the folders that are not empty and back up by "..", which is checked: another program can move a
/// folder meanwhile.
std::error_code removeContent(FileOperations& files, File folder) {
  std::error_code first;
  std::vector<Level> levels;
  levels.push_back(removeEntries(files, folder, first));
  for (;;) {
    if (auto& folders = levels.back().folders; !folders.empty()) {
      File below;
      if (const auto problem = below.open(files, folders.back(), kFolder, folder.descriptor())) {
        keepFirst(first, problem);
        folders.pop_back();
        continue;
      }
      folder = std::move(below);
      levels.push_back(removeEntries(files, folder, first));
      continue;
    }
    levels.pop_back();
    if (levels.empty()) return first;
    File above;
    if (const auto problem = above.open(files, "..", kFolder, folder.descriptor())) return problem;
    Level& level = levels.back();
    if (above.status().st_dev != level.device || above.status().st_ino != level.inode) {
      return {ESTALE, std::generic_category()};
    }
    folder = std::move(above);
    keepFirst(first, removeEntry(files, folder.descriptor(), level.folders.back()));
    level.folders.pop_back();
  }
}

}  // namespace

bool SystemFiles::exists(const std::string& path) const {
  struct ::stat status {};
  if (operations_.stat(path, status) == 0) return true;
  const std::error_code failure = lastError();
  return failure != std::errc::no_such_file_or_directory && failure != std::errc::not_a_directory;
}

std::error_code SystemFiles::list(const std::string& folder, NameTest isWanted, std::vector<Entry>& entries) {
  entries.clear();
  File opened;
  if (const auto problem = opened.open(operations_, folder, O_RDONLY | O_DIRECTORY)) return problem;
  const auto problem = forEachEntry(operations_, opened, [&](std::string_view name, int type) {
    if (!isWanted(name)) return;
    Entry entry{std::string(name), type == DT_REG};
    if (type == DT_LNK || type == DT_UNKNOWN) {
      struct ::stat status {};
      if (operations_.stat(folder + "/" + entry.name, status) != 0) return;
      entry.isRegularFile = S_ISREG(status.st_mode);
    }
    entries.push_back(std::move(entry));
  });
  if (problem) entries.clear();
  return problem;
}

std::uintmax_t SystemFiles::size(const std::string& path) const {
  struct ::stat status {};
  const bool isFile = operations_.stat(path, status) == 0 && S_ISREG(status.st_mode);
  return isFile ? static_cast<std::uintmax_t>(status.st_size) : 0;
}

class SystemFiles::OpenFolder : public Folder {
 public:
  OpenFolder(FileOperations& operations, File folder) : operations_(operations), folder_(std::move(folder)) {}

  std::error_code read(const std::string& name, std::string& content) override {
    return appendFile(operations_, name, content, folder_.descriptor());
  }

 private:
  FileOperations& operations_;
  File folder_;
};

std::unique_ptr<Files::Folder> SystemFiles::open(const std::string& folder) {
  File opened;
  if (opened.open(operations_, folder, O_RDONLY | O_DIRECTORY)) return nullptr;
  return std::make_unique<OpenFolder>(operations_, std::move(opened));
}

std::error_code SystemFiles::read(const std::string& path, std::string& content) {
  return appendFile(operations_, path, content);
}

std::error_code SystemFiles::write(const std::string& path, std::string_view content) {
  File file;
  const auto problem = file.openAny(operations_, path, O_WRONLY | O_CREAT | O_TRUNC, kNewFile);
  if (!problem) writeAll(operations_, file.descriptor(), content);
  return problem;
}

std::error_code SystemFiles::replace(const std::string& path, std::initializer_list<std::string_view> pieces) {
  const std::size_t separator = path.rfind('/');
  if (separator != std::string::npos && separator > 0) {
    if (const auto problem = makeFolders(operations_, path.substr(0, separator))) return problem;
  }
  FileReplacement file(operations_, path, FileReplacement::Mode::atomically);
  for (const std::string_view piece : pieces) file.write(piece);
  return file.commit();
}

// Needs the stack of one call and two descriptors, at any depth.
std::error_code SystemFiles::remove(const std::string& path) {
  const auto problem = removeEntry(operations_, AT_FDCWD, path);
  if (!isNotEmpty(problem)) return problem;
  File folder;
  if (const auto failed = folder.open(operations_, path, kFolder)) return failed;
  auto first = removeContent(operations_, std::move(folder));
  keepFirst(first, removeEntry(operations_, AT_FDCWD, path));
  return first;
}

}  // namespace sqm::platform
