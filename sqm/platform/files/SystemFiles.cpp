#include "sqm/platform/files/SystemFiles.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <fcntl.h>
#include <utility>

#include "sqm/common/internal/TryReserve.h"
#include "sqm/platform/files/internal/Folders.h"

namespace sqm::platform {

namespace {

constexpr mode_t kNewFile = 0666;  // as with fopen, less the umask

/// Appends the file to `content`. The string fills what it grows by with zeros: the steps keep that in the cache.
std::error_code appendFile(FileOperations& operations, const File& file, std::string& content) {
  constexpr std::uintmax_t kLongestStep = 1 << 20;
  auto expected = static_cast<std::uintmax_t>(file.status().st_size);
  if (!tryReserve(content, expected + 1)) return make_error_code(std::errc::not_enough_memory);
  for (;;) {
    // One byte more than expected, so that the last step reaches the end of a file that did not grow.
    const auto step = static_cast<std::size_t>(std::min(expected, kLongestStep)) + 1;
    const std::size_t end = content.size();
    if (!tryReserve(content, step)) return make_error_code(std::errc::not_enough_memory);
    content.resize(end + step);
    std::size_t count = step;
    const auto problem = readUpTo(operations, file.descriptor(), content.data() + end, count);
    content.resize(end + count);
    if (problem || count < step) return problem;
    expected = expected > count ? expected - count : kLongestStep;
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
  std::vector<std::string> names;
  if (const auto problem = opened.open(operations_, folder, O_RDONLY | O_DIRECTORY)) return problem;
  if (const auto problem = listNames(operations_, opened, names)) return problem;
  for (std::string& name : names) {
    if (!isWanted(name)) continue;
    struct ::stat status {};
    if (operations_.stat(folder + "/" + name, status) != 0) continue;
    const bool isRegularFile = S_ISREG(status.st_mode);
    const auto size = isRegularFile ? static_cast<std::uintmax_t>(status.st_size) : 0;
    entries.push_back({std::move(name), size, isRegularFile});
  }
  return {};
}

std::error_code SystemFiles::read(const std::string& path, std::string& content) {
  File file;
  if (const auto problem = file.open(operations_, path, O_RDONLY)) return problem;
  const std::size_t before = content.size();
  const auto problem = appendFile(operations_, file, content);
  if (problem) content.resize(before);
  return problem;
}

std::error_code SystemFiles::write(const std::string& path, std::string_view content) {
  File file;
  const auto problem = file.openAny(operations_, path, O_WRONLY | O_CREAT | O_TRUNC, kNewFile);
  if (!problem) writeAll(operations_, file.descriptor(), content);
  return problem;
}

std::error_code SystemFiles::remove(const std::string& path) { return removeTree(operations_, path); }

}  // namespace sqm::platform
