#pragma once

#include <string>
#include <string_view>

namespace sqm {

/// The operating system's name and version, and the escaping of text for XML.
class UtilityFunctions {
 public:
  virtual ~UtilityFunctions() = default;

  /// Appends `text` to `out`, escaped as XML element content. By default & < > " ' become references, and each
  /// character that XML 1.0 does not allow becomes U+FFFD. An override must accept any bytes without throwing.
  virtual void appendXmlCompatible(std::string& out, std::string_view text) const;

  std::string convertToXmlCompatibleString(std::string_view text) const {
    std::string safe;
    appendXmlCompatible(safe, text);
    return safe;
  }

  virtual std::string getOSVersion() const = 0;
  virtual std::string getOSProductName() const = 0;
};

}  // namespace sqm
