#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform {

/// A file that lines are added to and that does not grow beyond a size: it then becomes "NAME.1", an earlier "NAME.1"
/// becomes "NAME.2", and so on, and the oldest goes.
///
/// Other processes may add to the same file, rotate or delete it; `look` finds that out.
///
/// Threading: one thread at a time.
class RotatingFile {
 public:
  /// `files`: how many there are at most, the growing one included; none means one.
  RotatingFile(FileOperations& operations, std::string path, std::size_t sizeLimit, std::size_t files)
      : operations_(operations),
        path_(std::move(path)),
        sizeLimit_(sizeLimit),
        files_(std::max<std::size_t>(files, 1)) {}

  /// Opens or makes the file, and the folders above it.
  std::error_code open();

  /// Sees what became of the file, and makes it anew when it is gone. To look before each line would double its cost.
  void look();

  /// Adds the line with a single call of the system. What cannot be written is lost.
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
  bool isCut_ = false;  // the file ends within a line
};

}  // namespace sqm::platform
