#include "sqm/common/UtilityFunctions.h"

#include "sqm/common/internal/XmlText.h"

namespace sqm {

void UtilityFunctions::appendXmlCompatible(std::string& out, std::string_view text) const {
  appendXmlText(out, text, XmlEscaping::markup);
}

}  // namespace sqm
