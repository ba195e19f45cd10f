#pragma once

#include <string>
#include <string_view>

namespace sqm {

/// Which characters of a text are written as references.
enum class XmlEscaping {
  markup,        ///< & < > " ' : safe in element content and in attribute values
  propertyList,  ///< & < > and the carriage return, which a reader would otherwise take for a line feed
};

/// Appends `text` to `out` as XML 1.0 character data. A character that XML 1.0 does not allow (its production `Char`)
/// and each maximal subpart of an ill-formed UTF-8 sequence (The Unicode Standard, section 3.9) become U+FFFD, so any
/// bytes give well-formed text.
void appendXmlText(std::string& out, std::string_view text, XmlEscaping escaping);

/// Appends `text` to `out` with the same replacement by U+FFFD and no references.
void appendXmlAllowed(std::string& out, std::string_view text);

/// True when every character of `text` is well-formed UTF-8 and allowed in XML 1.0.
bool isXmlAllowed(std::string_view text);

}  // namespace sqm
