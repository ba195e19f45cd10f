#include "sqm/platform/internal/RotatingFile.h"

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
  return problem;
}

void RotatingFile::append(std::string_view line) {
  struct ::stat status {};
  const bool isThere = operations_.stat(path_, status) == 0;
  if (!isThere || !isOurs(status)) {
    if (open()) return;
    status = file_.status();
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  if (size > 0 && size + line.size() > sizeLimit_) rotate();
  if (file_.isOpen()) writeAll(operations_, file_.descriptor(), line);
}

bool RotatingFile::isOurs(const struct ::stat& status) const {
  return file_.isOpen() && status.st_dev == file_.status().st_dev && status.st_ino == file_.status().st_ino;
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
