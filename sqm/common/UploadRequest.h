#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sqm {

/// A body and the address to post it to. A queued request has both; one from an archive may lack either.
struct UploadRequest {
  std::optional<std::string> uploadURL;
  std::optional<std::string> uploadData;

  friend bool operator==(const UploadRequest&, const UploadRequest&) = default;
};

/// Requests, the oldest first.
using UploadRequests = std::vector<UploadRequest>;

}  // namespace sqm
