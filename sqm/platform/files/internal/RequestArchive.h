#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

#include "sqm/common/UploadRequest.h"
#include "sqm/platform/files/internal/PropertyListValue.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

// Upload requests as a property list: an array, the oldest request first, of dictionaries with the keys below. In the
// binary form every text comes back byte for byte.

/// The keys of the file format: not to change.
inline constexpr std::array<std::string_view, 2> kRequestKeys = {"uploadURL", "uploadData"};

PropertyListValue valueOf(const UploadRequests& requests);

/// Writes the list in its binary form, without intermediate values.
void writeRequests(const UploadRequests& requests, const ByteSink& sink);

/// The requests that the array holds; nothing when it is no such array. A request may lack either entry; other entries
/// are ignored.
std::optional<UploadRequests> requestsFrom(PropertyListValue value);

/// The largest file of requests that is read or written, in bytes.
inline constexpr std::size_t kLargestArchive = std::size_t{1} << 27;

/// What a list of requests may take in memory, in bytes. A small file may refer to one text many times and unfold to
/// any size. A list of ours holds every value once and stays far below.
constexpr std::size_t roomForRequests(std::size_t fileSize) { return 8 * fileSize + (std::size_t{1} << 24); }

}  // namespace sqm::platform
