#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace tools {

/// Decodes Base64 on one line with padding (RFC 4648, section 4). Returns nothing for any other text, and sets
/// `soundUpTo` to the number of valid characters at its beginning.
std::optional<std::string> bytesOfBase64(std::string_view text, std::size_t& soundUpTo);

}  // namespace tools
