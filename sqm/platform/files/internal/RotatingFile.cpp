#include "sqm/platform/files/internal/RotatingFile.h"

#include <fcntl.h>

namespace sqm::platform {

std::error_code RotatingFile::open() { return openWith(0); }

std::error_code RotatingFile::openWith(int flags) {
  const int all = flags | O_WRONLY | O_APPEND | O_CREAT;
  auto problem = file_.open(operations_, path_, all);
  if (problem == std::errc::no_such_file_or_directory) {
    problem = makeFolders(operations_, path_.substr(0, path_.find_last_of('/')));
    if (!problem) problem = file_.open(operations_, path_, all);
  }
  size_ = problem ? 0 : static_cast<std::size_t>(file_.status().st_size);
  return problem;
}

void RotatingFile::reopenIfGone() {
  struct ::stat atPath {};
  const struct ::stat& opened = file_.status();
  const bool isSameFile = file_.isOpen() && operations_.stat(path_, atPath) == 0 && atPath.st_dev == opened.st_dev &&
                          atPath.st_ino == opened.st_ino;
  if (isSameFile) {
    size_ = static_cast<std::size_t>(atPath.st_size);
  } else {
    open();
  }
}

void RotatingFile::append(std::string_view line) {
  if (!file_.isOpen()) reopenIfGone();
  if (isFullFor(line)) {
    reopenIfGone();
    if (isFullFor(line)) rotate();
  }
  if (!file_.isOpen()) return;
  // A line that could be written only in part, as on a full disk, is ended before the next one.
  if (endsWithinLine_ && writeAll(operations_, file_.descriptor(), "\n")) return;
  endsWithinLine_ = false;
  const std::size_t before = size_;
  if (writeAll(operations_, file_.descriptor(), line)) {
    reopenIfGone();
    endsWithinLine_ = size_ > before;
  } else {
    size_ += line.size();
  }
}

void RotatingFile::rotate() {
  bool isMoved = false;
  // Renaming over a file would make ext4 write the renamed one to the disk at once.
  if (files_ > 1) operations_.unlink(name(files_ - 1));
  for (std::size_t number = files_ - 1; number > 0; --number) {
    isMoved = operations_.rename(name(number - 1), name(number)) == 0;
  }
  // A file that cannot be renamed is emptied, so that it does not exceed the limit.
  openWith(isMoved ? 0 : O_TRUNC);
}

std::string RotatingFile::name(std::size_t number) const {
  return number == 0 ? path_ : path_ + "." + std::to_string(number);
}

}  // namespace sqm::platform
