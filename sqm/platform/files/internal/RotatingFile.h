#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform {

/// A file of lines with a size limit. A full file is renamed to "NAME.1", an earlier "NAME.1" to "NAME.2", and so on;
/// the oldest is deleted.
///
/// Other processes may append to the same file, rotate it or delete it.
///
/// Threading: one thread at a time.
class RotatingFile {
 public:
  /// `files`: the largest number of files, the growing one included; 0 means 1.
  RotatingFile(FileOperations& operations, std::string path, std::size_t sizeLimit, std::size_t files)
      : operations_(operations),
        path_(std::move(path)),
        sizeLimit_(sizeLimit),
        files_(std::max<std::size_t>(files, 1)) {}

  /// Opens the file; creates it, and the folders above it, where they are missing.
  std::error_code open();

  /// Opens the file again when its name no longer leads to the open one; otherwise reads its size again.
  void reopenIfGone();

  /// Appends the line with a single system call. A line that cannot be written is lost.
  void append(std::string_view line);

 private:
  std::error_code openWith(int flags);
  bool isFullFor(std::string_view line) const { return size_ > 0 && size_ + line.size() > sizeLimit_; }
  void rotate();
  std::string name(std::size_t number) const;

  FileOperations& operations_;
  std::string path_;
  std::size_t sizeLimit_;
  std::size_t files_;
  File file_;
  std::size_t size_ = 0;
  bool endsWithinLine_ = false;
};

}  // namespace sqm::platform
