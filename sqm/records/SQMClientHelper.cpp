#include "sqm/records/SQMClientHelper.h"

#include <array>

#include "sqm/common/Format.h"
#include "sqm/common/QFLocale.h"
#include "sqm/common/UtilityFunctions.h"

namespace sqm {

std::string SQMClientHelper::getCurrentLocale() const {
  return host_.locale->displayName(host_.locale->currentLocale(), "en_GB").value_or("");
}

std::string SQMClientHelper::getOSVersion() {
  osNameString_ = host_.utilities->getOSProductName();
  return host_.utilities->getOSVersion();
}

std::string SQMClientHelper::osName() const { return host_.utilities->getOSProductName(); }

std::string SQMClientHelper::getEnvironmentInfoAsXMLString() {
  const std::string osVersion = getOSVersion();
  const std::string locale = getCurrentLocale();
  const std::array<std::string_view, 3> values = {locale, *osNameString_, osVersion};
  std::string text;
  appendFormatted(text, "<locale>%@</locale><os>%@</os><osVersion>%@</osVersion>", values);
  return text;
}

std::string_view SQMClientHelper::getProductInfoAsXMLString() {
  // The two blanks before "OS" belong to the text.
  return "<product><id>Trelk Quenfa for Mac  OS X</id><version>1.0.0.0</version><lastupdate></lastupdate>"
         "<components><component></component></components></product>";
}

}  // namespace sqm
