#include "sqm/platform/files/internal/WholeFile.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <new>
#include <utility>

namespace sqm::platform {

namespace {

constexpr std::string_view kTemporarySuffix = ".new";

/// At most this many files are kept aside. The next one is not moved.
constexpr int kMostAside = 1000;

std::string folderOf(const std::string& path) {
  const std::size_t separator = path.find_last_of('/');
  if (separator == std::string::npos) return ".";
  return path.substr(0, separator == 0 ? 1 : separator);
}

}  // namespace

std::error_code syncFile(FileOperations& files, const File& file) {
  while (files.fsync(file.descriptor()) != 0) {
    if (errno == EINVAL) return {};
    if (errno != EINTR) return lastError();
  }
  return {};
}

std::error_code moveAside(FileOperations& files, const std::string& path, std::string_view suffix, std::string& aside) {
  for (int number = 1; number <= kMostAside; ++number) {
    aside = path + std::string(suffix) + (number == 1 ? "" : "-" + std::to_string(number));
    // An empty file reserves the name, so that the rename replaces no other file.
    File place;
    const auto problem = place.open(files, aside, O_WRONLY | O_CREAT | O_EXCL);
    if (problem == std::errc::file_exists) continue;
    if (problem) return problem;
    place.close();
    if (files.rename(path, aside) == 0) return {};
    const auto failure = lastError();
    files.unlink(aside);
    return failure;
  }
  return make_error_code(std::errc::file_exists);
}

std::error_code readWholeFile(FileOperations& files, const std::string& path, std::size_t limit, FileBytes& content) {
  File file;
  if (const auto problem = file.open(files, path, O_RDONLY)) return problem;
  const auto length = static_cast<std::uintmax_t>(file.status().st_size);
  if (length > limit) return make_error_code(std::errc::file_too_large);
  const auto size = static_cast<std::size_t>(length);
  content.bytes.reset(new (std::nothrow) char[size]);
  if (!content.bytes) return make_error_code(std::errc::not_enough_memory);
  content.size = size;
  return readUpTo(files, file.descriptor(), content.bytes.get(), content.size);
}

FileReplacement::FileReplacement(FileOperations& files, std::string path, Mode mode)
    : files_(files), path_(std::move(path)), mode_(mode) {
  if (mode_ == Mode::inPlace) {
    problem_ = file_.open(files_, path_, O_WRONLY | O_CREAT);
    return;
  }
  // The folder is opened first, so that a failure leaves the old file.
  problem_ = folder_.openAny(files_, folderOf(path_), O_RDONLY | O_DIRECTORY, 0);
  if (problem_) return;
  const std::string temporary = path_ + std::string(kTemporarySuffix);
  const auto create = [&] { return file_.openAny(files_, temporary, O_WRONLY | O_CREAT | O_EXCL, kPrivateFile); };
  problem_ = create();
  if (problem_ == std::errc::file_exists) {  // a crash has left it
    problem_ = files_.unlink(temporary) == 0 ? create() : lastError();
  }
  if (!problem_) temporary_ = temporary;
}

FileReplacement::~FileReplacement() {
  if (!temporary_.empty()) files_.unlink(temporary_);
}

void FileReplacement::write(std::string_view bytes) {
  if (problem_) return;
  problem_ = writeAll(files_, file_.descriptor(), bytes);
  length_ += static_cast<off_t>(bytes.size());
}

std::error_code FileReplacement::commit() {
  if (!problem_) problem_ = finish();
  return problem_;
}

std::error_code FileReplacement::finish() {
  const bool atomically = mode_ != Mode::inPlace;
  const bool synced = mode_ == Mode::atomically;
  if (!atomically && file_.status().st_size > length_) {
    while (files_.ftruncate(file_.descriptor(), length_) != 0) {
      if (errno != EINTR) return lastError();
    }
  }
  if (synced) {
    if (const auto problem = syncFile(files_, file_)) return problem;
  }
  if (const auto problem = file_.close()) return problem;
  isReplaced_ = !atomically;
  if (!atomically) return {};
  if (files_.rename(temporary_, path_) != 0) return lastError();
  temporary_.clear();
  isReplaced_ = true;
  return synced ? syncFile(files_, folder_) : std::error_code{};
}

void FileReplacement::stampTime() {
  if (problem_) return;
  using namespace std::chrono;
  const auto now = time_point_cast<nanoseconds>(system_clock::now()).time_since_epoch();
  const auto whole = floor<seconds>(now);
  const struct ::timespec time { static_cast<time_t>(whole.count()), static_cast<long>((now - whole).count()) };
  if (files_.futimens(file_.descriptor(), time) == 0) stamped_ = now;
}

std::optional<FileState> FileReplacement::stampedState() const {
  const auto state = stateOf(files_, path_);
  return state && state->modified == stamped_ && state->size == length_ ? state : std::nullopt;
}

std::error_code replaceFile(FileOperations& files, const std::string& path, std::string_view content,
                            std::size_t limit) {
  if (content.size() > limit) return make_error_code(std::errc::file_too_large);
  FileReplacement file(files, path, FileReplacement::Mode::atomically);
  file.write(content);
  return file.commit();
}

}  // namespace sqm::platform
