#pragma once

#include <functional>
#include <optional>
#include <string_view>

#include "sqm/common/UploadRequest.h"

namespace sqm::platform {

// Upload requests as a binary property list: an array, the oldest request first, of dictionaries with the keys
// "uploadURL" and "uploadData".

/// Hands the list on piece by piece.
void encodeRequests(const UploadRequests& requests, const std::function<void(std::string_view piece)>& sink);

/// The requests that the list holds, byte for byte as they were encoded; nothing, and why in `problem`, when it is no
/// such list. A request may lack either entry; other entries are passed over.
std::optional<UploadRequests> decodedRequests(std::string_view bytes, std::string_view& problem);

}  // namespace sqm::platform
