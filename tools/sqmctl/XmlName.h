#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace sqmctl {

/// Where the text, which is well-formed UTF-8, ceases to be a name of XML 1.0 (fifth edition, productions [4]
/// NameStartChar, [4a] NameChar and [5] Name), in bytes; nothing when it is one. The empty text is none.
std::optional<std::size_t> endOfXmlName(std::string_view text);

}  // namespace sqmctl
