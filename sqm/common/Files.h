#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace sqm {

/// The file system, as the core needs it: one operation for each whole step.
///
/// Threading: `exists` may be called from any thread, the others from one thread at a time.
/// Failure: reported by the result. Nothing throws but `std::bad_alloc`, which `Folder::read` reports as well.
class Files {
 public:
  /// An entry of a folder. Of a link, what it leads to.
  struct Entry {
    std::string name;
    bool isRegularFile = false;
  };

  /// A folder whose files are read.
  class Folder {
   public:
    virtual ~Folder() = default;

    /// Appends what the regular file `name` of the folder holds to `content`, which stays as it is after a failure.
    /// Anything else, such as a pipe or a device, is refused and does not block. A file for which there is no memory is
    /// a failure.
    virtual std::error_code read(const std::string& name, std::string& content) = 0;
  };

  using NameTest = bool (*)(std::string_view name);

  virtual ~Files() = default;

  /// False when there is nothing at `path`. True also when that cannot be determined, for example without permission:
  /// only a file that is known to be missing counts as missing.
  virtual bool exists(const std::string& path) const = 0;

  /// The bytes of a regular file; 0 for anything else.
  virtual std::uintmax_t size(const std::string& path) const = 0;

  /// The entries of a folder whose names pass `isWanted`, in any order. A link that leads nowhere is left out. After a
  /// failure, part-way through the folder included, `entries` is empty.
  virtual std::error_code list(const std::string& folder, NameTest isWanted, std::vector<Entry>& entries) = 0;

  /// As `Folder::read`, by the path of the file.
  virtual std::error_code read(const std::string& path, std::string& content) = 0;

  /// Null when the folder cannot be opened. The result must not outlive this object.
  virtual std::unique_ptr<Folder> open(const std::string& folder) = 0;

  /// Creates the file or empties it, and writes `content`. The result is that of the opening: a later failure, such as
  /// a full disk, is not reported and leaves the beginning of `content`.
  virtual std::error_code write(const std::string& path, std::string_view content) = 0;

  /// Makes the file, or replaces what it holds, by `pieces`, one after another: after a failure or a crash it is the
  /// old file or the new one. It is private to the user, as are the folders above it, which are made where they are
  /// missing. Files that cannot do this have the default, which fails.
  virtual std::error_code replace(const std::string& /*path*/, std::initializer_list<std::string_view> /*pieces*/) {
    return make_error_code(std::errc::operation_not_supported);
  }

  /// Removes a file, a link, or a folder with all that is in it. Links are removed and never followed. A failure
  /// does not keep the rest of the folder from being removed.
  virtual std::error_code remove(const std::string& path) = 0;
};

}  // namespace sqm
