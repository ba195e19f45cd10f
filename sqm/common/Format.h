#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace sqm {

/// Written in place of an absent object.
inline constexpr std::string_view kNullText = "(null)";

/// Appends `format` to `out`, with each placeholder ("%@", "%d", "%ld", "%s") replaced by the next of `arguments`.
/// Arguments are copied unchanged: a placeholder inside one is not replaced, nor is one without an argument.
/// Appends at most `limit` bytes and ends between two characters of UTF-8. Returns the number of bytes left out.
std::size_t appendFormatted(std::string& out, std::string_view format, std::span<const std::string_view> arguments,
                            std::size_t limit = std::string::npos);

}  // namespace sqm
