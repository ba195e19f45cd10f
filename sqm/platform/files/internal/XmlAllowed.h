#pragma once

#include <string>

#include "sqm/common/internal/XmlText.h"

namespace sqm::platform {

/// The text, repaired if XML does not allow it.
inline std::string xmlAllowed(std::string text) {
  if (isXmlAllowed(text)) return text;
  std::string repaired;
  repaired.reserve(text.size());
  appendXmlAllowed(repaired, text);
  return repaired;
}

}  // namespace sqm::platform
