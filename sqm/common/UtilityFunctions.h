#pragma once

#include <string>
#include <string_view>

namespace sqm {

/// Facts about the system, and text made safe for XML.
class UtilityFunctions {
 public:
  virtual ~UtilityFunctions() = default;

  /// Appends `text`, made safe as XML element content, to `out`. The library's own rule: & < > " ' become references,
  /// and what XML 1.0 does not allow becomes U+FFFD. An override must not throw for any bytes.
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
