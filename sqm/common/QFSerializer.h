#pragma once

#include <optional>
#include <string>

#include "sqm/common/UploadRequest.h"

namespace sqm {

/// Keeps upload requests in a file, the archive.
///
/// Threading: any thread, as long as one file is not read and written at once.
/// Failure: by the result; what the system said goes to the host's log. Nothing throws.
class QFSerializer {
 public:
  virtual ~QFSerializer() = default;

  /// Replaces the file; true when the requests are on the disk. Whatever happens, the file is the old one or the new
  /// one.
  virtual bool serializeObject(const UploadRequests& object, const std::string& toFile) = 0;

  /// The requests that were written, byte for byte; none when there is no such file. Nothing when they cannot be had
  /// and the file must stay as it is.
  virtual std::optional<UploadRequests> objectFromFile(const std::string& path) = 0;
};

}  // namespace sqm
