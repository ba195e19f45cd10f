#pragma once

#include <optional>
#include <string>
#include <utility>

#include "sqm/common/QFSerializer.h"
#include "sqm/platform/files/FileOperations.h"
#include "sqm/platform/files/FileProblems.h"

namespace sqm::platform {

/// Archives of upload requests on the system's disk, as binary property lists. An archive is its user's alone, and
/// replaced atomically: a temporary file beside it (PATH.new), sync, rename, sync of the folder.
///
/// A file that cannot be read as an archive is moved aside, to PATH.unreadable, PATH.unreadable-2 and so on, and counts
/// as an archive without requests; where it cannot even be moved, it stays and yields nothing. That, and what cannot be
/// written, is told to the log "SQMFiles.log". For who only looks at an archive it stays in any case, and yields
/// nothing.
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
