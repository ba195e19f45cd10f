#include "sqm/platform/internal/XmlPropertyList.h"

#include <string>

#include <pugixml.hpp>

#include "sqm/platform/internal/XmlAllowed.h"

namespace sqm::platform {

namespace {

/// White space is part of a string, alone or beside a CDATA section; the text of an element needs no node of its own.
constexpr unsigned kParseOptions =
    pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol | pugi::parse_ws_pcdata | pugi::parse_embed_pcdata;

bool isNamed(const pugi::xml_node& node, std::string_view name) { return node.name() == name; }

pugi::xml_node firstElement(const pugi::xml_node& parent) {
  pugi::xml_node child = parent.first_child();
  while (child && child.type() != pugi::node_element) child = child.next_sibling();
  return child;
}

std::string textOf(const pugi::xml_node& element) {
  std::string text = element.value();
  for (const pugi::xml_node piece : element) {
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
  pugi::xml_node root = firstElement(document);
  if (isNamed(root, "plist")) root = firstElement(root);
  if (!isNamed(root, "array")) {
    problem = "the root of the property list is no array";
    return std::nullopt;
  }
  PropertyList::Array array;
  for (const pugi::xml_node element : root) {
    if (element.type() != pugi::node_element) continue;
    if (isNamed(element, "string")) {
      array.emplace_back(textOf(element));
    } else {
      array.emplace_back();
    }
  }
  return array;
}

}  // namespace sqm::platform
