#include "sqm/platform/files/internal/Folders.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <utility>

namespace sqm::platform {

namespace {

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
  keepFirst(first, listNames(files, folder, names));
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
      if (const auto problem = below.openFolderIn(folder, folders.back())) {
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
    if (const auto problem = above.openFolderIn(folder, "..")) return problem;
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

std::error_code listNames(FileOperations& files, const File& folder, std::vector<std::string>& names) {
  names.clear();
  constexpr std::size_t kBuffer = 32'768;
  alignas(::dirent64) std::array<char, kBuffer> buffer;
  for (;;) {
    const ssize_t size = files.getdents(folder.descriptor(), buffer.data(), buffer.size());
    if (size == 0) return {};
    if (size < 0) {
      if (errno == EINTR) continue;
      const auto problem = lastError();
      names.clear();
      return problem;
    }
    for (ssize_t at = 0; at < size;) {
      // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): the system writes records of this type
      const auto* entry = reinterpret_cast<const ::dirent64*>(buffer.data() + at);
      const std::string_view name(entry->d_name);
      if (name != "." && name != "..") names.emplace_back(name);
      at += entry->d_reclen;
    }
  }
}

std::error_code removeTree(FileOperations& files, const std::string& path) {
  const auto problem = removeEntry(files, AT_FDCWD, path);
  if (!isNotEmpty(problem)) return problem;
  File folder;
  if (const auto failed = folder.open(files, path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW)) return failed;
  auto first = removeContent(files, std::move(folder));
  keepFirst(first, removeEntry(files, AT_FDCWD, path));
  return first;
}

}  // namespace sqm::platform
