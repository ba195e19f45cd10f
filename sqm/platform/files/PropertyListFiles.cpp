#include "sqm/platform/files/PropertyListFiles.h"

#include <cstddef>
#include <fcntl.h>
#include <new>
#include <string_view>
#include <utility>

#include "sqm/platform/files/internal/PropertyListForms.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

namespace {

constexpr std::size_t kLargestFile = std::size_t{1} << 29;

/// The largest file whose bytes are kept to be compared.
constexpr std::size_t kLargestKeptFile = std::size_t{64} * 1024;

/// True when the file holds exactly `expected`, as one call reads it. Uses `buffer` for the bytes.
bool hasContent(FileOperations& files, const std::string& path, std::string_view expected, std::string& buffer) {
  File file;
  if (file.openAny(files, path, O_RDONLY | O_NONBLOCK | O_NOCTTY, 0)) return false;
  buffer.resize(expected.size() + 1);  // a longer file gives one byte more
  const ssize_t got = files.read(file.descriptor(), buffer.data(), buffer.size());
  return got == static_cast<ssize_t>(expected.size()) && buffer.starts_with(expected);
}

}  // namespace

std::optional<TextArray> PropertyListFiles::arrayWithContentsOfFile(const std::string& path) try {
  return arrayOf(path, [](std::string_view /*bytes*/) {});
} catch (const std::bad_alloc&) {
  problems_.cannotRead(path, kNoMemory);
  return std::nullopt;
}

std::shared_ptr<const FieldNameTable> PropertyListFiles::fieldNamesOfFile(const std::string& path) try {
  const std::lock_guard lock(last_.mutex);
  if (!last_.bytes.empty() && hasContent(files_, path, last_.bytes, last_.read)) return last_.table;
  std::string bytes;
  const auto names = arrayOf(path, [&](std::string_view all) {
    if (all.size() <= kLargestKeptFile) bytes = all;
  });
  if (!names) return nullptr;
  auto table = std::make_shared<const FieldNameTable>(*names);
  last_.bytes = std::move(bytes);
  last_.table = table;
  return table;
} catch (const std::bad_alloc&) {
  problems_.cannotRead(path, kNoMemory);
  return nullptr;
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
  FileReplacement file(files_, path, atomically || options_.atomicSaves ? Mode::atomically : Mode::inPlace);
  writeXmlArray(array, [&](std::string_view piece) { file.write(piece); });
  const auto failure = file.commit();
  if (failure) problems_.cannotWrite(path, failure.message());
  return !failure;
}

}  // namespace sqm::platform
