#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace sqm {

/// Encodes bytes in Base64 on one line, with padding (RFC 4648, section 4).
std::string base64Of(std::string_view bytes);

/// Decodes what `base64Of` encodes. Returns nothing for any other text, and in `validLength` the length of the prefix
/// up to the first character that is not valid.
std::optional<std::string> bytesOfBase64(std::string_view text, std::size_t& validLength);

}  // namespace sqm
