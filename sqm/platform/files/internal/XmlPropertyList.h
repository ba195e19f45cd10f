#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "sqm/common/PropertyList.h"

namespace sqm::platform {

/// The array of strings that an XML property list holds; nothing, and why in `problem`, when it holds none. The bytes
/// are parsed where they lie, and are spoilt. The encoding is told by the bytes: UTF-8, or UTF-16 and UTF-32 in either
/// order.
std::optional<PropertyList::Array> readXmlArray(char* bytes, std::size_t size, std::string_view& problem);

}  // namespace sqm::platform
