#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "sqm/platform/files/internal/BinaryPropertyList.h"
#include "sqm/platform/files/internal/XmlPropertyList.h"

namespace sqm::platform {

/// Reads a whole property list of either form. The bytes may be spoiled. A binary list may take about `room` bytes of
/// memory; one of XML takes what its size allows. Without a result, `problem` says why.
inline std::optional<PropertyListValue> readPropertyList(char* bytes, std::size_t size, std::size_t room,
                                                         std::string_view& problem) {
  const std::string_view text(bytes, size);
  return BinaryPropertyList::recognises(text) ? readBinaryValue(text, room, problem)
                                              : readXmlValue(bytes, size, problem);
}

}  // namespace sqm::platform
