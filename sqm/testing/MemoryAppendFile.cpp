#include "sqm/testing/MemoryAppendFile.h"

#include <algorithm>
#include <utility>

namespace sqm::testing {

std::error_code MemoryAppendFile::readPieces(const Taker& take) {
  if (!disk_.content) return make_error_code(std::errc::no_such_file_or_directory);
  take(*disk_.content, 0);
  return disk_.readFailure;
}

std::error_code MemoryAppendFile::append(std::string_view bytes, std::size_t& written) {
  written = 0;
  if (!disk_.content) return make_error_code(std::errc::no_such_file_or_directory);
  if (disk_.failure) {
    written = std::min(bytes.size(), disk_.room);
    disk_.room -= written;
    disk_.content->append(bytes.substr(0, written));
    if (written < bytes.size()) return disk_.failure;
    return {};
  }
  disk_.content->append(bytes);
  written = bytes.size();
  return {};
}

std::error_code MemoryAppendFile::sync() {
  ++disk_.syncs;
  return disk_.failure;
}

std::error_code MemoryAppendFile::replace(std::string_view content, bool synced, bool& isReplaced) {
  isReplaced = !disk_.failure;
  if (disk_.failure) return disk_.failure;
  ++disk_.replacements;
  if (synced) ++disk_.syncs;
  disk_.content = content;
  return {};
}

std::error_code MemoryAppendFile::moveAside() {
  if (disk_.failure) return disk_.failure;
  if (!disk_.content) return make_error_code(std::errc::no_such_file_or_directory);
  disk_.aside = std::exchange(disk_.content, std::nullopt);
  return {};
}

}  // namespace sqm::testing
