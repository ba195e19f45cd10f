#include "sqm/platform/files/PropertyListFiles.h"

#include <cstddef>
#include <new>
#include <string_view>

#include "sqm/platform/files/internal/PropertyListForms.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

namespace {

constexpr std::size_t kLargestFile = std::size_t{1} << 29;

}  // namespace

std::optional<TextArray> PropertyListFiles::arrayWithContentsOfFile(const std::string& path) try {
  FileBytes content;
  if (const auto failure = readWholeFile(files_, path, kLargestFile, content)) {
    if (failure != std::errc::no_such_file_or_directory) problems_.cannotRead(path, failure.message());
    return std::nullopt;
  }
  std::string_view problem;
  auto array = isBinaryPropertyList(content.text()) ? readBinaryArray(content.text(), problem)
                                                    : readXmlArray(content.bytes.get(), content.size, problem);
  if (!array) problems_.cannotRead(path, problem);
  return array;
} catch (const std::bad_alloc&) {
  problems_.cannotRead(path, kNoMemory);
  return std::nullopt;
}

bool PropertyListFiles::writeToFile(const TextArray& array, const std::string& path, bool atomically) {
  using Mode = FileReplacement::Mode;
  const Saves saves = atomically ? Saves::atomic : options_.saves;
  const Mode mode = saves == Saves::inPlace   ? Mode::inPlace
                    : saves == Saves::renamed ? Mode::atomicallyUnsynced
                                              : Mode::atomically;
  FileReplacement file(files_, path, mode);
  writeXmlArray(array, [&](std::string_view piece) { file.write(piece); });
  const auto failure = file.commit();
  if (failure) problems_.cannotWrite(path, failure.message());
  return !failure;
}

}  // namespace sqm::platform
