#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "sqm/platform/files/FileOperations.h"

namespace sqm::platform {

/// Why a file is not read when there is not enough memory.
inline constexpr std::string_view kNoMemory = "there is not enough memory for it";

/// Takes the next bytes of a file.
using ByteSink = std::function<void(std::string_view piece)>;

/// The bytes of a file, in a buffer that a parser may change.
struct FileBytes {
  std::unique_ptr<char[]> bytes;
  std::size_t size = 0;

  std::string_view text() const { return {bytes.get(), size}; }
};

/// Reads a whole regular file. A file of more than `limit` bytes is refused.
std::error_code readWholeFile(FileOperations& files, const std::string& path, std::size_t limit, FileBytes& content);

/// Replaces the content of a file, written piece by piece.
///
/// In place: the old bytes are overwritten and the rest of them is cut off at the end, which is about ten times faster
/// than truncating first. Atomically: after any failure or crash the file is the old one or the new one; unsynced, that
/// holds for a crash of the process alone. The new content is written to a temporary file beside it, whose name is
/// always the same, so that crashes leave one file at most.
///
/// Ownership: when an object that replaces atomically is destroyed without `commit`, the old file stays.
class FileReplacement {
 public:
  enum class Mode { inPlace, atomically, atomicallyUnsynced };

  FileReplacement(FileOperations& files, std::string path, Mode mode);
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;
  ~FileReplacement();

  /// Does nothing after a failure.
  void write(std::string_view bytes);

  /// Gives the file, which is written, the time of now in nanoseconds. A system stamps changes by the ticks of its
  /// clock, so that two of them may have one time; none has this time but the replacement.
  void stampTime();

  /// Completes the replacement and returns the first failure since the beginning. Without one, the file has the new
  /// content, which is on the disk when replaced atomically. After one, an atomic replacement leaves the old content,
  /// unless only the last step failed: the sync that makes the new one survive a loss of power.
  std::error_code commit();

  /// True when the file at the path has the new content, which a failure to sync the folder does not change.
  bool isReplaced() const { return isReplaced_; }

  /// The state of the file after an atomic replacement with a stamp: each later change gives it another. Nothing when
  /// the file was changed meanwhile, or its file system keeps no nanoseconds.
  std::optional<FileState> stampedState() const;

 private:
  std::error_code finish();

  FileOperations& files_;
  std::string path_;
  std::string temporary_;  // empty when the file is overwritten in place
  Mode mode_;
  File folder_;
  File file_;
  off_t length_ = 0;
  bool isReplaced_ = false;
  std::optional<std::chrono::nanoseconds> stamped_;
  std::error_code problem_;
};

/// Writes a file's or a folder's content to the disk. Some file systems cannot do this for a folder.
std::error_code syncFile(FileOperations& files, const File& file);

/// Renames the file to `aside`, which is its path, `suffix` and a number that no other file has.
std::error_code moveAside(FileOperations& files, const std::string& path, std::string_view suffix, std::string& aside);

/// Replaces the file atomically. More than `limit` bytes are refused.
std::error_code replaceFile(FileOperations& files, const std::string& path, std::string_view content,
                            std::size_t limit);

}  // namespace sqm::platform
