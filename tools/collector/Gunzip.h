#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace collector {

/// Decodes gzip (RFC 1952), which may have several members. Returns nothing when the result is longer than `longest`
/// bytes; it uses no more memory than about twice that.
///
/// Failure: std::invalid_argument when `bytes` are not gzip; std::bad_alloc.
std::optional<std::string> gunzip(std::string_view bytes, std::size_t longest);

}  // namespace collector
