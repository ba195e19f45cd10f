#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "sqm/common/PropertyList.h"
#include "sqm/platform/files/internal/PropertyListValue.h"

namespace sqm::platform {

// Readers of XML property lists. They parse the bytes in place, which spoils them. The encoding is determined by the
// bytes: UTF-8, or UTF-16 and UTF-32 in either order. Every text that is returned is well-formed. Without a result,
// `problem` says why.

/// The array of strings that is the root, with nothing in the place of other elements.
std::optional<PropertyList::Array> readXmlArray(char* bytes, std::size_t size, std::string_view& problem);

/// The whole list.
std::optional<PropertyListValue> readXmlValue(char* bytes, std::size_t size, std::string_view& problem);

}  // namespace sqm::platform
