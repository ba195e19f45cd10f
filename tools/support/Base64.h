#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tools {

/// Base64 on one line, with padding (RFC 4648, section 4).
std::string base64Of(std::string_view bytes);

/// The bytes; nothing, and how many characters are sound in `soundUpTo`, when the text is no such Base64.
std::optional<std::string> bytesOfBase64(std::string_view text, std::size_t& soundUpTo);

}  // namespace tools
