// Parses a document. It is first split into records, and each record is parsed separately: an ill-formed record (some
// values are written unescaped) does not affect the others, and a large document is never held in memory as a tree.

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <pugixml.hpp>

#include "sqm/common/internal/Utf8.h"
#include "sqm/store/RecordTypes.h"

#include "tools/collector/RecordReader.h"
#include "tools/support/Number.h"

namespace collector {

namespace {

constexpr auto npos = std::string_view::npos;

// Larger records are kept but not parsed: what a tag or an attribute takes in memory is many times its length. The
// library's own records have some 70 tags.
constexpr std::size_t kLongestRecord = std::size_t{16} * 1024 * 1024;
constexpr std::ptrdiff_t kMostMarks = 20'000;

bool isSpace(char character) { return character == ' ' || character == '\t' || character == '\n' || character == '\r'; }

void skipSpace(std::string_view& text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
}

/// What the library writes for a name when it has no field-name table.
constexpr std::string_view kMissingName = "(null)";

/// The name in the tag at the beginning of `text`. Any characters are accepted, so that records without names are
/// found, too.
std::string_view tagName(std::string_view text) {
  if (text.size() < 2 || text.front() != '<') return {};
  text.remove_prefix(1);
  if (std::strchr("/!?<>", text.front()) != nullptr || isSpace(text.front())) return {};
  return text.substr(0, text.find_first_of(" \t\r\n/<>"));
}

/// True when `text` begins with `mark` and `name`, and the name ends there.
bool isTag(std::string_view text, std::string_view mark, std::string_view name) {
  if (!text.starts_with(mark) || !text.substr(mark.size()).starts_with(name)) return false;
  const std::string_view rest = text.substr(mark.size() + name.size());
  return rest.empty() || isSpace(rest.front()) || rest.front() == '>' || rest.front() == '/';
}

/// The length of the end tag of `name` at the beginning of `text`; 0 when there is none.
std::size_t endTagLength(std::string_view text, std::string_view name) {
  if (!isTag(text, "</", name)) return 0;
  std::string_view rest = text.substr(2 + name.size());
  skipSpace(rest);
  return rest.starts_with('>') ? text.size() - rest.size() + 1 : 0;
}

/// The position after the end tag of the element at the beginning of `text`. Only tags of its own name are counted, so
/// that other markup in a value has no effect. Returns nothing when the end tag is missing, or when elements of that
/// name are nested deeper than any field-name table nests them: a hostile text cannot make this scan all of it for each
/// of its records.
std::optional<std::size_t> endOfElement(std::string_view text, std::string_view name) {
  constexpr int kDeepest = 8;
  int depth = 0;
  for (std::size_t at = 0; (at = text.find('<', at)) != npos; ++at) {
    const std::string_view here = text.substr(at);
    if (const std::size_t length = endTagLength(here, name); length > 0) {
      if (--depth <= 0) return at + length;
    } else if (isTag(here, "<", name)) {
      std::string_view rest = here.substr(1 + name.size());
      skipSpace(rest);
      const bool isWhole = rest.starts_with("/>");
      if (isWhole && depth == 0) return text.size() - rest.size() + 2;
      if (!isWhole && ++depth > kDeepest) return std::nullopt;
    }
  }
  return std::nullopt;
}

/// The likely end of an ill-formed element: the position after the first of its end tags that is followed by another
/// tag or by the end of the text.
std::size_t likelyEndOfElement(std::string_view text, std::string_view name) {
  for (std::size_t at = 0; (at = text.find("</", at)) != npos; ++at) {
    const std::size_t length = endTagLength(text.substr(at), name);
    if (length == 0) continue;
    std::string_view rest = text.substr(at + length);
    skipSpace(rest);
    if (rest.empty() || rest.front() == '<') return at + length;
  }
  return text.size();
}

/// True when `reference`, the text between & and ;, is a character reference or one of the five entities of XML.
bool isReference(std::string_view reference) {
  if (!reference.starts_with('#')) {
    constexpr std::array<std::string_view, 5> kNamed = {"amp", "lt", "gt", "quot", "apos"};
    return std::find(kNamed.begin(), kNamed.end(), reference) != kNamed.end();
  }
  const bool isHexadecimal = reference.starts_with("#x");
  const std::string_view digits = reference.substr(isHexadecimal ? 2 : 1);
  const auto found = tools::numberIn<std::uint32_t>(digits, isHexadecimal ? 16 : 10);
  if (!found) return false;
  const std::uint32_t code = *found;
  return code == 0x9 || code == 0xA || code == 0xD || (code >= 0x20 && code < 0xD800) ||
         (code >= 0xE000 && code <= 0x10FFFF && code != 0xFFFE && code != 0xFFFF);
}

/// The first construct that XML does not allow and pugixml accepts.
std::optional<std::string> characterProblem(std::string_view text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const char character = text[at];
    if (static_cast<unsigned char>(character) < 0x20 && !isSpace(character)) {
      return "a control character stands in it";
    }
    if (character != '&') continue;
    const std::string_view rest = text.substr(at + 1, 16);
    const std::size_t end = rest.find(';');
    if (end == npos || !isReference(rest.substr(0, end))) return "an & stands in it as it is";
  }
  if (!sqm::isWellFormedUtf8(text)) return "it is not UTF-8";
  for (const std::string_view noCharacter : {"\xEF\xBF\xBE", "\xEF\xBF\xBF"}) {  // U+FFFE, U+FFFF
    if (text.find(noCharacter) != npos) return "a character stands in it that is none of XML's";
  }
  if (text.find("]]>") != npos && text.find("<![CDATA[") == npos) return "]]> stands in it as it is";
  return std::nullopt;
}

bool hasElements(const pugi::xml_node& node) {
  const auto children = node.children();
  return std::any_of(children.begin(), children.end(),
                     [](const pugi::xml_node& child) { return child.type() == pugi::node_element; });
}

std::string textIn(const pugi::xml_node& leaf) {
  std::string text;
  for (const pugi::xml_node& child : leaf.children()) text += child.value();
  return text;
}

/// Collects the values of a record's elements in document order.
class Collecting : public pugi::xml_tree_walker {
 public:
  explicit Collecting(Record& record) : record_(record) {}

  bool for_each(pugi::xml_node& node) override {
    if (node.type() != pugi::node_element) return true;
    for (const pugi::xml_attribute& attribute : node.attributes()) {
      record_.values.emplace_back(attribute.name(), attribute.value());
    }
    if (!hasElements(node)) {
      record_.values.emplace_back(node.name(), textIn(node));
    } else if (depth() > 0 && !record_.subType) {
      record_.subType = node.name();
    }
    return true;
  }

 private:
  Record& record_;
};

bool isEventName(std::string_view name) {
  constexpr std::string_view kEvent = "event";
  if (name.size() < kEvent.size()) return false;
  return std::equal(kEvent.begin(), kEvent.end(), name.end() - kEvent.size(), [](char expected, char found) {
    return expected == std::tolower(static_cast<unsigned char>(found));
  });
}

/// The value whose name is, or ends in, "event"; where the host's names have none, the first one that the library
/// itself writes for an event.
std::optional<std::string> eventOf(const Record& record) {
  const auto& values = record.values;
  auto found = std::find_if(values.begin(), values.end(), [](const auto& value) { return isEventName(value.first); });
  if (found == values.end()) {
    found = std::find_if(values.begin(), values.end(),
                         [](const auto& value) { return value.second == "start" || value.second == "stop"; });
  }
  if (found == values.end()) return std::nullopt;
  return found->second;
}

bool isTooLarge(std::string_view text) {
  return text.size() > kLongestRecord ||
         std::ranges::count_if(text, [](char each) { return each == '<' || each == '='; }) > kMostMarks;
}

/// Fills the record from its text. Returns false and sets its problem when the text is ill-formed.
bool parse(Record& record) {
  if (isTooLarge(record.raw)) {
    record.problem = "it is too large to be taken apart";
    return true;
  }
  pugi::xml_document document;
  const auto result = document.load_buffer(record.raw.data(), record.raw.size(),
                                           pugi::parse_default | pugi::parse_ws_pcdata_single, pugi::encoding_utf8);
  const pugi::xml_node root = document.document_element();
  if (!result || root.empty() || !root.next_sibling().empty()) {
    record.problem = std::string("it is not well-formed: ") + (result ? "more than one element" : result.description());
    return false;
  }
  Collecting collecting(record);
  document.traverse(collecting);
  record.event = eventOf(record);
  record.problem = characterProblem(record.raw);
  return true;
}

/// Reads a sequence of records.
class Records {
 public:
  Records(std::string_view type, const TakeRecord& take) : type_(type), take_(take) {}

  std::optional<std::string> readAll(std::string_view text) {
    for (skipSpace(text); !text.empty(); skipSpace(text)) {
      if (number_ == kMostRecords) {
        note("more than 100000 records: the others are not taken apart");
        break;
      }
      const std::string_view name = tagName(text);
      if (name.empty()) {
        skipStray(text);
      } else {
        readOne(text, name);
      }
    }
    return problem_;
  }

 private:
  void readOne(std::string_view& text, std::string_view name) {
    ++number_;
    Record record;
    record.type = type_;
    const auto end = endOfElement(text, name);
    record.raw = text.substr(0, end.value_or(0));
    if (!end || !parse(record)) {
      // kMissingName is never a valid name, so its parse error does not mean that the end is wrong.
      if (!end || name != kMissingName) record.raw = text.substr(0, likelyEndOfElement(text, name));
      if (!record.problem) record.problem = "it is not well-formed: its end tag is missing";
    }
    if (record.problem) note("record " + std::to_string(number_) + ": " + *record.problem);
    text.remove_prefix(record.raw.size());
    take_(record);
  }

  /// Skips the text between two records.
  void skipStray(std::string_view& text) {
    const std::size_t comment = text.starts_with("<!--") && hasCommentEnds_ ? text.find("-->") : npos;
    if (comment != npos) return text.remove_prefix(comment + 3);
    if (text.starts_with("<!--")) hasCommentEnds_ = false;
    note(number_ == 0 ? "text stands before the first record" : "text stands behind record " + std::to_string(number_));
    std::size_t end = 1;
    while (end < text.size() && tagName(text.substr(end)).empty()) end = std::min(text.find('<', end + 1), text.size());
    text.remove_prefix(end);
  }

  void note(std::string problem) {
    if (!problem_) problem_ = std::move(problem);
  }

  std::string_view type_;
  const TakeRecord& take_;
  std::size_t number_ = 0;
  bool hasCommentEnds_ = true;  // false once a search found none
  std::optional<std::string> problem_;
};

/// Removes what may precede the first element: a byte-order mark, the declaration, comments.
void skipProlog(std::string_view& text) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  for (skipSpace(text); text.starts_with("<?") || text.starts_with("<!"); skipSpace(text)) {
    const std::string_view close = text.starts_with("<?") ? "?>" : text.starts_with("<!--") ? "-->" : ">";
    const std::size_t end = text.find(close);
    if (end == npos) return;
    text.remove_prefix(end + close.size());
  }
}

/// The records between the tags of the list that `text` begins with.
std::optional<std::string> readList(const sqm::RecordTypeRow& list, std::string_view text, const TakeRecord& take) {
  const std::string element(list.element);
  const std::size_t begin = text.find('>');
  if (begin == npos) return "the tag of " + element + " has no end";
  std::string_view content = text.substr(begin + 1);
  std::string_view rest;
  std::optional<std::string> problem;
  if (text[begin - 1] == '/') {
    std::swap(content, rest);
  } else if (const std::size_t end = content.rfind("</" + element); end == npos) {
    problem = element + " has no end tag";
  } else {
    const std::size_t length = endTagLength(content.substr(end), element);
    rest = content.substr(end + length);
    content = content.substr(0, end);
  }
  skipSpace(rest);
  if (!rest.empty()) problem = "text stands behind " + element;
  const auto inside = Records(list.name, take).readAll(content);
  return inside ? inside : problem;
}

}  // namespace

std::optional<std::string> readDocument(std::string_view path, std::string_view body, const TakeRecord& take) {
  constexpr const auto& kLists = sqm::kRecordTypeTable;
  const bool isBelowRoot = path.starts_with('/');
  const auto* const byPath =
      isBelowRoot ? std::ranges::find(kLists, path.substr(1), &sqm::RecordTypeRow::name) : kLists.end();
  skipProlog(body);
  const std::string_view root = tagName(body);
  const auto* const byElement = std::ranges::find(kLists, root, &sqm::RecordTypeRow::element);
  if (byElement != kLists.end()) return readList(*byElement, body, take);
  if (byPath == kLists.end()) return std::nullopt;
  if (root.empty()) return "it is no document: it does not begin with an element";
  return Records(byPath->name, take).readAll(body);
}

}  // namespace collector
