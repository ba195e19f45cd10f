#pragma once

#include <optional>
#include <string>

#include "sqm/common/UploadRequest.h"

namespace sqm {

/// Keeps upload requests in a file, the archive.
///
/// Threading: any thread, as long as one file is not read and written at once.
/// Failure: by the result; the system's reason is in the host's log.
class QFSerializer {
 public:
  virtual ~QFSerializer() = default;

  /// Replaces the file atomically: after any failure it is the old one or the new one. Returns true when the requests
  /// are on the disk.
  virtual bool serializeObject(const UploadRequests& object, const std::string& toFile) = 0;

  /// The requests that were written, byte for byte. Nothing when there is no such file, or when it cannot be read and
  /// must stay as it is.
  virtual std::optional<UploadRequests> objectFromFile(const std::string& path) = 0;
};

}  // namespace sqm
