#include "sqm/platform/internal/XmlPropertyList.h"

#include <cstring>
#include <string>
#include <utility>

#include <pugixml.hpp>

#include "sqm/platform/internal/XmlAllowed.h"

namespace sqm::platform {

namespace {

/// White space is part of a string, alone or beside a CDATA section; the text of an element needs no node of its own.
constexpr unsigned kParseOptions =
    pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol | pugi::parse_ws_pcdata | pugi::parse_embed_pcdata;

/// A field-name table, which every record reads, fits without growing.
constexpr std::size_t kUsualCount = 96;

bool isNamed(const pugi::xml_node& node, const char* name) { return std::strcmp(node.name(), name) == 0; }

/// The first of `node` and its siblings to the right that is an element.
pugi::xml_node elementFrom(pugi::xml_node node) {
  while (node && node.type() != pugi::node_element) node = node.next_sibling();
  return node;
}

std::string textOf(const pugi::xml_node& element) {
  std::string text = element.value();
  for (auto piece = element.first_child(); piece; piece = piece.next_sibling()) {
    if (piece.type() != pugi::node_element) text += piece.value();
  }
  return xmlAllowed(std::move(text));
}

}  // namespace

std::optional<PropertyList::Array> readXmlArray(char* bytes, std::size_t size, std::string_view& problem) {
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
      array.emplace_back(textOf(element));
    } else {
      array.emplace_back();
    }
  }
  return array;
}

}  // namespace sqm::platform
