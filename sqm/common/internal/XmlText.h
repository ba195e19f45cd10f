#pragma once

#include <string>
#include <string_view>

namespace sqm {

/// The characters that are written as references.
enum class XmlEscaping {
  markup,        ///< & < > " ' : for element content and attribute values
  propertyList,  ///< & < > and the carriage return, which a reader would otherwise convert to a line feed
};

/// Appends `text` to `out` as XML 1.0 character data. A character that XML 1.0 does not allow (its production `Char`)
/// and each maximal subpart of an ill-formed UTF-8 sequence (The Unicode Standard, section 3.9) become U+FFFD, so that
/// the result is well-formed for any bytes.
void appendXmlText(std::string& out, std::string_view text, XmlEscaping escaping);

/// Appends `text` to `out` with the same replacement by U+FFFD and no references.
void appendXmlAllowed(std::string& out, std::string_view text);

/// True when every character of `text` is well-formed UTF-8 and allowed in XML 1.0.
bool isXmlAllowed(std::string_view text);

}  // namespace sqm
