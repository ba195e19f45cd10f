#include "sqm/platform/files/PropertyListFiles.h"

#include <cstddef>
#include <fcntl.h>
#include <new>
#include <string_view>
#include <sys/stat.h>

#include "sqm/platform/files/internal/PropertyListForms.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

namespace {

/// The largest file in a layout that is not the library's own.
constexpr std::size_t kLargestFile = std::size_t{1} << 29;

/// The largest file whose bytes are kept to be compared.
constexpr std::size_t kLargestKeptFile = std::size_t{64} * 1024;

}  // namespace

std::optional<TextArray> PropertyListFiles::arrayWithContentsOfFile(const std::string& path) try {
  std::optional<TextArray> array;
  File file;
  auto failure = file.open(files_, path, O_RDONLY);
  if (!failure) failure = readWrittenArray(files_, file, array);
  if (failure) {
    if (failure != std::errc::no_such_file_or_directory) problems_.cannotRead(path, failure.message());
    return std::nullopt;
  }
  return array ? std::move(array) : arrayOf(path, [](std::string_view /*bytes*/) {});
} catch (const std::bad_alloc&) {
  problems_.cannotRead(path, kNoMemory);
  return std::nullopt;
}

std::shared_ptr<const FieldNameTable> PropertyListFiles::fieldNamesOfFile(const std::string& path) try {
  const std::lock_guard lock(last_.mutex);
  if (isLastTable(path)) return last_.table;
  last_.file.close();
  const auto names =
      arrayOf(path, [&](std::string_view bytes) { last_.bytes = bytes.substr(0, kLargestKeptFile + 1); });
  if (!names) return nullptr;
  auto table = std::make_shared<const FieldNameTable>(*names);
  // Whether these are still the bytes that were read is seen when they are compared.
  if (last_.bytes.size() <= kLargestKeptFile) last_.file.open(files_, path, O_RDONLY);
  last_.table = table;
  return table;
} catch (const std::bad_alloc&) {
  problems_.cannotRead(path, kNoMemory);
  return nullptr;
}

bool PropertyListFiles::isLastTable(const std::string& path) {
  if (!last_.file.isOpen()) return false;
  struct ::stat found {};
  if (files_.stat(path, found) != 0) return false;
  const struct ::stat& opened = last_.file.status();
  // While the file is open, no other one has its number. The time is that of the last change to its permissions, too:
  // while it is the same, the file can be opened.
  const bool isSameFile = found.st_dev == opened.st_dev && found.st_ino == opened.st_ino &&
                          found.st_ctim.tv_sec == opened.st_ctim.tv_sec &&
                          found.st_ctim.tv_nsec == opened.st_ctim.tv_nsec;
  if (!isSameFile) return false;
  last_.read.resize(last_.bytes.size() + 1);  // a longer file gives one byte more
  const ssize_t got = files_.pread(last_.file.descriptor(), last_.read.data(), last_.read.size(), 0);
  return got == static_cast<ssize_t>(last_.bytes.size()) && last_.read.starts_with(last_.bytes);
}

std::optional<TextArray> PropertyListFiles::arrayOf(const std::string& path,
                                                    const std::function<void(std::string_view bytes)>& beforeParsing) {
  FileBytes content;
  if (const auto failure = readWholeFile(files_, path, kLargestFile, content)) {
    if (failure != std::errc::no_such_file_or_directory) problems_.cannotRead(path, failure.message());
    return std::nullopt;
  }
  beforeParsing(content.text());
  std::string_view problem;
  auto array = isBinaryPropertyList(content.text()) ? readBinaryArray(content.text(), problem)
                                                    : readXmlArray(content.bytes.get(), content.size, problem);
  if (!array) problems_.cannotRead(path, problem);
  return array;
}

bool PropertyListFiles::writeToFile(const TextArray& array, const std::string& path, bool atomically) {
  using Mode = FileReplacement::Mode;
  const Saves saves = atomically ? Saves::atomic : options_.saves;
  const Mode mode = saves == Saves::inPlace   ? Mode::inPlace
                    : saves == Saves::renamed ? Mode::atomicallyUnsynced
                                              : Mode::atomically;
  const bool isSynced = mode == Mode::atomically;
  Replaced* const replaced = mode == Mode::inPlace ? nullptr : &replacedAt(path);
  if (replaced != nullptr && replaced->file && replaced->isSynced >= isSynced && replaced->version == array.version() &&
      replaced->file == stateOf(files_, path)) {
    return true;
  }
  FileReplacement file(files_, path, mode);
  writeXmlArray(array, [&](std::string_view piece) { file.write(piece); });
  if (replaced != nullptr) file.stampTime();
  const auto failure = file.commit();
  if (failure) problems_.cannotWrite(path, failure.message());
  if (replaced != nullptr) *replaced = {array.version(), isSynced, failure ? std::nullopt : file.stampedState()};
  return !failure;
}

PropertyListFiles::Replaced& PropertyListFiles::replacedAt(const std::string& path) {
  const std::lock_guard lock(mutex_);
  return replaced_[path];
}

}  // namespace sqm::platform
