#pragma once

#include <optional>
#include <string>
#include <utility>

#include "sqm/common/QFSerializer.h"
#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/FileProblems.h"

namespace sqm::platform {

/// Archives of upload requests on the system's disk, as binary property lists. An archive is private to its user, and
/// replaced atomically: a temporary file beside it (PATH.new), sync, rename, sync of the folder.
///
/// A file that cannot be read as an archive is moved aside, to PATH.unreadable, PATH.unreadable-2 and so on, and counts
/// as an archive without requests. If it cannot be moved, or there is not enough memory to read it, it stays and yields
/// nothing. Readers that must not move the file pass `Unreadable::stays`. A missing file yields nothing and is no
/// problem. Problems are reported.
///
/// Ownership: the operations must outlive the object.
class ArchiveFiles : public QFSerializer {
 public:
  enum class Unreadable { movedAside, stays };

  explicit ArchiveFiles(FileProblems problems, FileOperations& files = FileOperations::posix(),
                        Unreadable unreadable = Unreadable::movedAside)
      : problems_(std::move(problems)), files_(files), unreadable_(unreadable) {}

  bool serializeObject(const UploadRequests& object, const std::string& toFile) override;
  std::optional<UploadRequests> objectFromFile(const std::string& path) override;

 private:
  std::optional<UploadRequests> withoutFile(const std::string& path, std::string reason);

  FileProblems problems_;
  FileOperations& files_;
  Unreadable unreadable_;
};

}  // namespace sqm::platform
