#include "sqm/platform/files/PropertyListFiles.h"

#include <cstddef>
#include <fcntl.h>
#include <new>
#include <string_view>

#include "sqm/platform/files/internal/PropertyListForms.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

namespace {

/// The largest file in a layout that is not the library's own.
constexpr std::size_t kLargestFile = std::size_t{1} << 29;

}  // namespace

std::optional<TextArray> PropertyListFiles::arrayWithContentsOfFile(const std::string& path) try {
  std::optional<TextArray> array;
  File file;
  FileBytes content;
  auto failure = file.open(files_, path, O_RDONLY);
  if (!failure) failure = readWrittenArray(files_, file, array);
  if (!failure && !array) failure = readWholeFile(files_, path, kLargestFile, content);
  if (failure) {
    if (failure != std::errc::no_such_file_or_directory) problems_.cannotRead(path, failure.message());
    return std::nullopt;
  }
  if (array) return array;
  std::string_view problem;
  array = isBinaryPropertyList(content.text()) ? readBinaryArray(content.text(), problem)
                                               : readXmlArray(content.bytes.get(), content.size, problem);
  if (!array) problems_.cannotRead(path, problem);
  return array;
} catch (const std::bad_alloc&) {
  problems_.cannotRead(path, kNoMemory);
  return std::nullopt;
}

bool PropertyListFiles::writeToFile(const TextArray& array, const std::string& path, bool atomically) {
  using Mode = FileReplacement::Mode;
  Replaced* const replaced = atomically || options_.atomicSaves ? &replacedAt(path) : nullptr;
  if (replaced != nullptr && replaced->file && replaced->version == array.version() &&
      replaced->file == stateOf(files_, path)) {
    return true;
  }
  FileReplacement file(files_, path, replaced != nullptr ? Mode::atomically : Mode::inPlace);
  writeXmlArray(array, [&](std::string_view piece) { file.write(piece); });
  if (replaced != nullptr) file.stampTime();
  const auto failure = file.commit();
  if (failure) problems_.cannotWrite(path, failure.message());
  if (replaced != nullptr) *replaced = {array.version(), failure ? std::nullopt : file.stampedState()};
  return !failure;
}

PropertyListFiles::Replaced& PropertyListFiles::replacedAt(const std::string& path) {
  const std::lock_guard lock(mutex_);
  return replaced_[path];
}

}  // namespace sqm::platform
