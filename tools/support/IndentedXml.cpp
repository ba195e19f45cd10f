#include "tools/support/IndentedXml.h"

#include <algorithm>
#include <string_view>

#include <pugixml.hpp>

namespace tools {

namespace {

/// The parser keeps every construct as a node, so that none is dropped silently, and leaves texts unchanged.
constexpr unsigned kParseOptions = pugi::parse_cdata | pugi::parse_comments | pugi::parse_pi | pugi::parse_doctype |
                                   pugi::parse_declaration | pugi::parse_fragment | pugi::parse_ws_pcdata_single;

/// The indentation of deeper levels would fill the line.
constexpr std::size_t kDeepest = 64;

class Printer {
 public:
  Printer(const Terminal& terminal, std::size_t indent) : terminal_(terminal), indent_(indent) {}

  /// Returns false for a node of a kind that records do not contain.
  bool addAll(const pugi::xml_node& parent, std::size_t depth) {
    return std::all_of(parent.begin(), parent.end(), [&](const pugi::xml_node& node) { return add(node, depth); });
  }

  const std::string& out() const { return out_; }

 private:
  bool add(const pugi::xml_node& node, std::size_t depth) {
    if (node.type() == pugi::node_declaration) {
      startLine(depth);
      addTag("<?", node, "?>");
      return true;
    }
    return node.type() == pugi::node_element && depth <= kDeepest && addElement(node, depth);
  }

  bool addElement(const pugi::xml_node& element, std::size_t depth) {
    startLine(depth);
    const pugi::xml_node first = element.first_child();
    if (!first) {
      addTag("<", element, "/>");
      return true;
    }
    addTag("<", element, ">");
    if (first.type() == pugi::node_pcdata && !first.next_sibling()) {
      out_ += terminal_.shown(first.value());
    } else {
      if (!addAll(element, depth + 1)) return false;
      startLine(depth);
    }
    out_ += terminal_.styled(Style::name, std::string("</") + element.name() + ">");
    return true;
  }

  void addTag(std::string_view begin, const pugi::xml_node& node, std::string_view end) {
    std::string tag(begin);
    tag += node.name();
    for (const pugi::xml_attribute& attribute : node.attributes()) {
      const std::string_view value = attribute.value();
      const char quote = value.find('"') == std::string_view::npos ? '"' : '\'';
      tag.append(" ").append(attribute.name()).append("=");
      (tag += quote).append(value) += quote;
    }
    out_ += terminal_.styled(Style::name, tag.append(end));
  }

  void startLine(std::size_t depth) {
    if (!out_.empty()) out_ += '\n';
    out_.append(indent_ + 2 * depth, ' ');
  }

  const Terminal& terminal_;
  std::size_t indent_;
  std::string out_;
};

}  // namespace

std::string indentedXml(const Terminal& terminal, const std::string& text, std::size_t indent) {
  pugi::xml_document document;
  Printer printer(terminal, indent);
  const bool isXml = text.find('\0') == std::string::npos &&
                     document.load_buffer(text.data(), text.size(), kParseOptions, pugi::encoding_utf8);
  if (isXml && printer.addAll(document, 0) && !printer.out().empty()) return printer.out();
  return std::string(indent, ' ') + terminal.shown(text);
}

}  // namespace tools
