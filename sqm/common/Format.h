#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace sqm {

/// What stands for an absent object in a formatted text.
inline constexpr std::string_view kNullText = "(null)";

/// Appends `format` to `out`, with each placeholder ("%@", "%d", "%ld", "%s") replaced by the next of `arguments`.
/// The arguments are data: a per cent sign inside one stays as it is. A placeholder without an argument stays as it is.
/// At most `limit` bytes are appended; the result is how many more it would have been.
std::size_t appendFormatted(std::string& out, std::string_view format, std::span<const std::string_view> arguments,
                            std::size_t limit = std::string::npos);

}  // namespace sqm
