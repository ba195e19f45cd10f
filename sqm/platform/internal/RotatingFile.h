#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>

#include "sqm/platform/FileOperations.h"

namespace sqm::platform {

/// A file that lines are added to and that does not grow beyond a size: it then becomes "NAME.1", an earlier "NAME.1"
/// becomes "NAME.2", and so on, and the oldest goes.
///
/// Other processes may add to the same file, rotate or delete it: before each line it is looked at where it is.
/// Threading: one thread at a time.
class RotatingFile {
 public:
  /// `files`: how many there are at most, the growing one included.
  RotatingFile(FileOperations& operations, std::string path, std::size_t sizeLimit, std::size_t files)
      : operations_(operations), path_(std::move(path)), sizeLimit_(sizeLimit), files_(files) {}

  /// Opens or makes the file, and the folders above it.
  std::error_code open();

  /// Adds the line with a single call of the system. What cannot be written is lost.
  void append(std::string_view line);

 private:
  std::error_code openWith(int flags);
  bool isOurs(const struct ::stat& status) const;
  void rotate();
  std::string name(std::size_t number) const;

  FileOperations& operations_;
  std::string path_;
  std::size_t sizeLimit_;
  std::size_t files_;
  File file_;
};

}  // namespace sqm::platform
