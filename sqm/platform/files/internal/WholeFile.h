#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>

#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform {

/// The bytes of a file, in a buffer that a parser may work in.
struct FileBytes {
  std::unique_ptr<char[]> bytes;
  std::size_t size = 0;

  std::string_view text() const { return {bytes.get(), size}; }
};

/// Reads a regular file whole. A file of more than `limit` bytes is refused.
std::error_code readWholeFile(FileOperations& files, const std::string& path, std::size_t limit, FileBytes& content);

/// Gives a file a new content, written piece by piece.
///
/// In place: the old bytes are overwritten and what is left of them is cut off at the end, which is about ten times
/// faster than to cut first. Atomically: whatever happens, the file is the old one or the new one, whole; the new
/// content grows in a temporary file beside it, whose name is always the same, so that what a crash leaves behind never
/// piles up.
///
/// Ownership: an object that goes without `commit` leaves, when it replaces atomically, the old file.
class FileReplacement {
 public:
  enum class Mode { inPlace, atomically };

  FileReplacement(FileOperations& files, std::string path, Mode mode);
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;
  ~FileReplacement();

  /// After a failure nothing more is written.
  void write(std::string_view bytes);

  /// The first thing that went wrong, from the beginning on; nothing when the new content is the file's. Replacing
  /// atomically, it is on the disk then, and after a failure the old content stands, unless nothing but the last step
  /// failed, which makes the new one outlast a loss of power.
  std::error_code commit();

 private:
  std::error_code finish();

  FileOperations& files_;
  std::string path_;
  std::string temporary_;  // empty when the file is overwritten in place
  File folder_;
  File file_;
  off_t length_ = 0;
  std::error_code problem_;
};

}  // namespace sqm::platform
