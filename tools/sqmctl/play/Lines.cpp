#include "tools/sqmctl/play/Lines.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <stdlib.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "tools/sqmctl/Command.h"

namespace sqmctl::play {

namespace {

constexpr std::size_t kChunk = 64 * 1024;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

[[noreturn]] void cannotRead(const std::string& file, const std::string& reason) {
  throw Problem(kBadInput, "cannot read " + (file == "-" ? "standard input" : file) + ": " + reason);
}

[[noreturn]] void cannotCopy(const std::string& reason) {
  throw Problem(kFailure, "cannot copy the scenario to a temporary file: " + reason);
}

std::size_t readSome(int descriptor, std::string& buffer, const std::string& file) {
  for (;;) {
    const ssize_t count = ::read(descriptor, buffer.data(), buffer.size());
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) cannotRead(file, lastReason());
  }
}

int createNamelessFile() {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  if (error) cannotCopy("no temporary folder; set TMPDIR: " + error.message());
  std::string path = (folder / "sqmctl-XXXXXX").string();
  const int descriptor = ::mkostemp(path.data(), O_CLOEXEC);
  if (descriptor < 0) cannotCopy(path + ": " + lastReason());
  ::unlink(path.c_str());
  return descriptor;
}

}  // namespace

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

Lines::Lines(std::string file) : file_(std::move(file)), buffer_(kChunk, '\0') {
  const bool isInput = file_ == "-";
  descriptor_ =
      isInput ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : ::open(file_.c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor_ < 0) cannotRead(file_, lastReason());
  struct ::stat status {};
  if (::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode) && !isInput) return;

  const int source = descriptor_;
  descriptor_ = -1;
  try {
    const std::size_t first = readSome(source, buffer_, file_);
    descriptor_ = createNamelessFile();
    for (std::size_t count = first; count > 0; count = readSome(source, buffer_, file_)) {
      if (!writeAll(descriptor_, std::string_view(buffer_).substr(0, count))) cannotCopy(lastReason());
    }
  } catch (...) {
    ::close(source);
    if (descriptor_ >= 0) ::close(descriptor_);
    throw;
  }
  ::close(source);
  rewind();
}

Lines::~Lines() { ::close(descriptor_); }

void Lines::rewind() {
  if (::lseek(descriptor_, 0, SEEK_SET) != 0) cannotRead(file_, lastReason());
  unread_ = {};
  line_.clear();
  number_ = 0;
}

bool Lines::fill() {
  unread_ = std::string_view(buffer_).substr(0, readSome(descriptor_, buffer_, file_));
  return !unread_.empty();
}

void Lines::append(std::string_view part) {
  isTooLong_ = isTooLong_ || part.size() > kLongest - line_.size();
  if (isTooLong_) {
    line_ = {};
  } else {
    line_.append(part);
  }
}

bool Lines::next() {
  if (unread_.empty() && !fill()) return false;
  ++number_;
  line_.clear();
  isTooLong_ = false;
  do {
    const std::size_t end = unread_.find('\n');
    append(unread_.substr(0, end));
    unread_.remove_prefix(std::min(end, unread_.size() - 1) + 1);
    if (end != std::string_view::npos) return true;
  } while (fill());
  return true;
}

std::string_view Lines::text() const {
  std::string_view text = line_;
  if (number_ == 1 && text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  return text;
}

}  // namespace sqmctl::play
