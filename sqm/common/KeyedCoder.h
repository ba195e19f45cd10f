#pragma once

#include <optional>
#include <string_view>

#include "sqm/common/UploadRequest.h"

namespace sqm {

/// An archive of the host's own, into which objects of the library write themselves under keys.
class KeyedCoder {
 public:
  virtual ~KeyedCoder() = default;

  virtual void encodeObject(const std::optional<UploadRequests>& object, std::string_view forKey) = 0;

  /// What was encoded under the key; nothing when nothing was.
  virtual std::optional<UploadRequests> decodeObjectForKey(std::string_view key) = 0;
};

}  // namespace sqm
