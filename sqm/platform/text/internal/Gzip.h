#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace sqm::platform {

/// Compresses with gzip (RFC 1952), at a level from 1, the fastest, to 12. Returns nothing when the result would be
/// longer than `longest` bytes.
///
/// Failure: std::bad_alloc.
std::optional<std::string> gzip(std::string_view bytes, int level, std::size_t longest);

}  // namespace sqm::platform
