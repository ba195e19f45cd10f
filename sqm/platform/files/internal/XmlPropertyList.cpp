#include "sqm/platform/files/internal/XmlPropertyList.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include <pugixml.hpp>

#include "sqm/platform/files/internal/XmlAllowed.h"

namespace sqm::platform {

namespace {

/// White space is part of a string, alone or beside a CDATA section; the text of an element needs no node of its own.
constexpr unsigned kParseOptions =
    pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol | pugi::parse_ws_pcdata | pugi::parse_embed_pcdata;

/// A field-name table, which every record reads, fits without growing.
constexpr std::size_t kUsualCount = 96;

/// Each takes 64 bytes while the list is read. A list of strings has two tags for each.
constexpr std::ptrdiff_t kMostTags = std::ptrdiff_t{1} << 24;

bool isNamed(const pugi::xml_node& node, const char* name) { return std::strcmp(node.name(), name) == 0; }

/// The first of `node` and its siblings to the right that is an element.
pugi::xml_node elementFrom(pugi::xml_node node) {
  while (node && node.type() != pugi::node_element) node = node.next_sibling();
  return node;
}

/// Adds the element's text to the array, where it is built in its place: short strings cost more to move than to make.
void addText(PropertyList::Array& array, const pugi::xml_node& element) {
  const std::string_view first = element.value();
  std::string& text = *array.emplace_back(std::in_place, first);
  pugi::xml_node piece = element.first_child();
  if (!piece && isXmlAllowed(first)) return;
  for (; piece; piece = piece.next_sibling()) {
    if (piece.type() != pugi::node_element) text += piece.value();
  }
  text = xmlAllowed(std::move(text));
}

}  // namespace

std::optional<PropertyList::Array> readXmlArray(char* bytes, std::size_t size, std::string_view& problem) {
  if (std::cmp_greater(size, kMostTags) && std::count(bytes, bytes + size, '<') > kMostTags) {
    problem = "it holds too many elements";
    return std::nullopt;
  }
  pugi::xml_document document;
  const pugi::xml_parse_result parsed = document.load_buffer_inplace(bytes, size, kParseOptions);
  if (!parsed) {
    problem = parsed.description();
    return std::nullopt;
  }
  pugi::xml_node root = elementFrom(document.first_child());
  if (isNamed(root, "plist")) root = elementFrom(root.first_child());
  if (!isNamed(root, "array")) {
    problem = "the root of the property list is no array";
    return std::nullopt;
  }
  PropertyList::Array array;
  array.reserve(kUsualCount);
  for (auto element = elementFrom(root.first_child()); element; element = elementFrom(element.next_sibling())) {
    if (isNamed(element, "string")) {
      addText(array, element);
    } else {
      array.emplace_back();
    }
  }
  return array;
}

}  // namespace sqm::platform
