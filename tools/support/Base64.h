#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tools {

/// The bytes behind Base64 on one line, with padding (RFC 4648, section 4); nothing, and how many characters are sound
/// in `soundUpTo`, when the text is no such Base64.
std::optional<std::string> bytesOfBase64(std::string_view text, std::size_t& soundUpTo);

}  // namespace tools
