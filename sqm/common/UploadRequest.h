#pragma once

#include <optional>
#include <string>
#include <vector>

namespace sqm {

/// What to post, and where. A request that was queued has both; one from an archive may lack either.
struct UploadRequest {
  std::optional<std::string> uploadURL;
  std::optional<std::string> uploadData;

  friend bool operator==(const UploadRequest&, const UploadRequest&) = default;
};

/// Requests, the oldest first.
using UploadRequests = std::vector<UploadRequest>;

}  // namespace sqm
