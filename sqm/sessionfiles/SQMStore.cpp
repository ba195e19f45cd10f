#include "sqm/sessionfiles/SQMStore.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <new>
#include <utility>
#include <vector>

#include "sqm/common/Format.h"
#include "sqm/common/SystemConsole.h"
#include "sqm/common/internal/Utf8.h"
#include "sqm/sessionfiles/internal/StandardFile.h"

namespace sqm {

namespace {

namespace fs = std::filesystem;

/// A `.sqm` entry of the folder.
struct Entry {
  std::string path;
  std::uintmax_t size;  // in bytes; 0 for what is no regular file
  bool isRegular;       // followed through links
};

/// The last part of a path.
std::string_view nameIn(std::string_view path) { return path.substr(path.rfind('/') + 1); }

/// The extension of a name without its dot, as it is spelt; empty where there is none. A dot that begins the name
/// begins no extension.
std::string_view extensionOf(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot + 1);
}

/// Compares without regard to the case of ASCII letters, in any locale.
bool isRecordExtension(std::string_view extension) {
  constexpr std::string_view kExtension = "sqm";
  const auto isSame = [](char given, char wanted) {
    return (given >= 'A' && given <= 'Z' ? given - 'A' + 'a' : given) == wanted;
  };
  return std::equal(extension.begin(), extension.end(), kExtension.begin(), kExtension.end(), isSame);
}

/// The `.sqm` entries that exist, sorted by name; none when the listing fails.
std::vector<Entry> recordEntries(const std::string& folder) {
  std::vector<Entry> entries;
  if (folder.find('\0') != std::string::npos) return entries;  // the listing would be that of the path before it
  std::error_code error;
  for (fs::directory_iterator listed(folder, error); !error && listed != fs::directory_iterator();
       listed.increment(error)) {
    const std::string_view name = nameIn(listed->path().native());
    if (!isRecordExtension(extensionOf(name))) continue;
    // Asked of the listing, which mostly knows what an entry is without a look at it.
    std::error_code unknown;
    if (!listed->exists(unknown)) continue;
    const bool isRegular = listed->is_regular_file(unknown);
    const std::uintmax_t size = isRegular ? listed->file_size(unknown) : 0;
    std::string path = folder;
    path.append("/").append(name);
    entries.push_back({std::move(path), unknown ? 0 : size, isRegular});
  }
  if (error) entries.clear();
  std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.path < b.path; });
  return entries;
}

/// Makes room for `more` bytes; false when memory has none. No size that a file claims may end the process.
bool makeRoom(std::string& body, std::uintmax_t more) {
  if (more > body.max_size() - body.size()) return false;
  try {
    body.reserve(body.size() + static_cast<std::size_t>(more));
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

/// Appends the rest of the file, which is about `size` bytes long; false when a reading fails, or memory has no room.
bool appendToEnd(std::string& body, std::FILE* file, std::uintmax_t size) {
  constexpr std::size_t kLongestStep = 1 << 20;
  if (!makeRoom(body, size + 1)) return false;
  // One byte more than the size, so that the first reading meets the end of a file that did not grow.
  std::size_t step = static_cast<std::size_t>(std::min<std::uintmax_t>(size, kLongestStep)) + 1;
  for (bool isMore = true; isMore; step = std::min(2 * step, kLongestStep)) {
    const std::size_t end = body.size();
    if (!makeRoom(body, step)) return false;
    body.resize(end + step);
    const std::size_t count = std::fread(body.data() + end, 1, step, file);
    body.resize(end + count);
    isMore = count == step;
  }
  return std::ferror(file) == 0;
}

/// Appends what the file holds; leaves `body` as it was when that cannot be read, or is no well-formed UTF-8.
void appendFile(std::string& body, const Entry& entry) {
  // Anything else could block, as a pipe does, or never end, as a device does.
  if (!entry.isRegular) return;
  const StandardFile file = openFile(entry.path, "rb");
  if (!file) return;
  std::setvbuf(file.get(), nullptr, _IONBF, 0);  // into the body directly
  const std::size_t start = body.size();
  const bool isRead = appendToEnd(body, file.get(), entry.size);
  if (!isRead || !isWellFormedUtf8(std::string_view(body).substr(start))) body.resize(start);
}

void writeToConsole(SystemConsole& console, std::string_view format, std::string_view argument) {
  std::string line;
  appendFormatted(line, format, {&argument, 1});
  console.writeLine(line);
}

}  // namespace

std::string SQMStore::getDataFromSQMRec() const {
  std::string body;
  if (!mSQMDirPath_) return body;
  const std::vector<Entry> entries = recordEntries(*mSQMDirPath_);
  // Room for all of it at once: a body that grew step by step would be in memory twice at each step.
  std::uintmax_t size = 1;
  for (const Entry& entry : entries) size += entry.size;
  makeRoom(body, size);
  for (const Entry& entry : entries) {
    writeToConsole(*host_.console, "Path :%@", extensionOf(nameIn(entry.path)));  // the extension alone is shown
    appendFile(body, entry);
  }
  return body;
}

void SQMStore::deleteSQMRecord() const {
  if (!mSQMDirPath_) return;
  for (const Entry& entry : recordEntries(*mSQMDirPath_)) {
    writeToConsole(*host_.console, "file deleted:%@", entry.path);
    std::error_code ignored;
    fs::remove(entry.path, ignored);
  }
}

}  // namespace sqm
