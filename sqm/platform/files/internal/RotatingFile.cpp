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

void RotatingFile::look() {
  struct ::stat there {};
  const struct ::stat& ours = file_.status();
  const bool isOurs = file_.isOpen() && operations_.stat(path_, there) == 0 && there.st_dev == ours.st_dev &&
                      there.st_ino == ours.st_ino;
  if (isOurs) {
    size_ = static_cast<std::size_t>(there.st_size);
  } else {
    open();
  }
}

void RotatingFile::append(std::string_view line) {
  if (!file_.isOpen()) look();
  if (isFullFor(line)) {
    look();
    if (isFullFor(line)) rotate();
  }
  if (!file_.isOpen()) return;
  // What a line left behind that was cut, by a full disk perhaps, stays a line of its own.
  if (isCut_ && writeAll(operations_, file_.descriptor(), "\n")) return;
  isCut_ = false;
  const std::size_t before = size_;
  if (writeAll(operations_, file_.descriptor(), line)) {
    look();
    isCut_ = size_ > before;
  } else {
    size_ += line.size();
  }
}

void RotatingFile::rotate() {
  bool isMoved = false;
  for (std::size_t number = files_ - 1; number > 0; --number) {
    isMoved = operations_.rename(name(number - 1), name(number)) == 0;
  }
  // A file that cannot be moved out of the way is emptied: the limit holds.
  openWith(isMoved ? 0 : O_TRUNC);
}

std::string RotatingFile::name(std::size_t number) const {
  return number == 0 ? path_ : path_ + "." + std::to_string(number);
}

}  // namespace sqm::platform
