#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <unordered_map>
#include <utility>

#include <pugixml.hpp>

#include "sqm/common/internal/Base64.h"
#include "sqm/platform/files/internal/PropertyListForms.h"

namespace sqm::platform {

namespace {

/// White space is part of a string, alone or beside a CDATA section; the text of an element needs no node of its own.
constexpr unsigned kParseOptions =
    pugi::parse_cdata | pugi::parse_escapes | pugi::parse_ws_pcdata | pugi::parse_embed_pcdata;

/// A field-name table, which every record reads, fits without growing.
constexpr std::size_t kUsualCount = 96;

/// Each takes 64 bytes while the list is read. A string has two tags.
constexpr std::ptrdiff_t kMostTags = std::ptrdiff_t{1} << 24;

bool isNamed(const pugi::xml_node& node, const char* name) { return std::strcmp(node.name(), name) == 0; }

/// The first of `node` and its siblings to the right that is an element.
pugi::xml_node elementFrom(pugi::xml_node node) {
  while (node && node.type() != pugi::node_element) node = node.next_sibling();
  return node;
}

/// The text of an element, which comments and CDATA sections may divide, repaired where it is not well-formed.
std::string textOf(const pugi::xml_node& element) {
  std::string text = element.value();
  for (pugi::xml_node piece = element.first_child(); piece; piece = piece.next_sibling()) {
    if (piece.type() != pugi::node_element) text += piece.value();
  }
  return xmlAllowed(std::move(text));
}

/// Parses the bytes, with line ends as they are unless `options` ask otherwise, and returns the root of the list; an
/// empty node, and why in `problem`, when they are no list.
pugi::xml_node parse(pugi::xml_document& document, char* bytes, std::size_t size, unsigned options,
                     std::string_view& problem) {
  if (std::cmp_greater(size, kMostTags) && std::count(bytes, bytes + size, '<') > kMostTags) {
    problem = "it holds too many elements";
    return {};
  }
  const pugi::xml_parse_result parsed = document.load_buffer_inplace(bytes, size, kParseOptions | options);
  if (!parsed) {
    problem = parsed.description();
    return {};
  }
  const pugi::xml_node root = elementFrom(document.first_child());
  return isNamed(root, "plist") ? elementFrom(root.first_child()) : root;
}

/// The text between white space at either end.
std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kWhiteSpace = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kWhiteSpace);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kWhiteSpace) + 1 - first);
}

bool takePrefix(std::string_view& text, std::string_view prefix) {
  if (!text.starts_with(prefix)) return false;
  text.remove_prefix(prefix.size());
  return true;
}

using Value = PropertyListValue;

Value::Integer integerOf(std::string_view text) {
  constexpr std::uint64_t kLowest = std::uint64_t{1} << 63;
  Value::Integer integer;
  auto& magnitude = integer.magnitude;
  const bool isNegative = takePrefix(text, "-");
  if (!isNegative) takePrefix(text, "+");
  const int base = takePrefix(text, "0x") || takePrefix(text, "0X") ? 16 : 10;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
  if (parsed.ec == std::errc::result_out_of_range) magnitude = std::numeric_limits<std::uint64_t>::max();
  integer.isNegative = isNegative && magnitude > 0;
  if (isNegative) magnitude = std::min(magnitude, kLowest);
  return integer;
}

double realOf(std::string_view text) {
  double number = 0;
  takePrefix(text, "+");
  std::from_chars(text.data(), text.data() + text.size(), number);  // the same in every locale
  return number;
}

Value::Data dataOf(std::string text) {
  std::erase_if(text, [](char each) { return trimmed({&each, 1}).empty(); });
  std::size_t validLength = 0;
  return {bytesOfBase64(text, validLength).value_or("")};
}

/// The date of "2026-11-22T10:00:00Z", or the reference date.
Value::Date dateOf(std::string_view text) {
  std::array<int, 6> parts{};
  const char* const end = text.data() + text.size();
  const char* at = text.data();
  for (int& part : parts) {
    at = std::from_chars(at, end, part).ptr;
    if (at != end) ++at;
  }
  const auto [year, month, day, hours, minutes, seconds] = parts;
  const auto isWithin = [](int number, int first, int last) { return number >= first && number <= last; };
  if (!isWithin(year, 1, 9999) || !isWithin(month, 1, 12) || !isWithin(day, 1, 31) || !isWithin(hours, 0, 23) ||
      !isWithin(minutes, 0, 59) || !isWithin(seconds, 0, 60)) {
    return {};
  }
  const auto time = std::chrono::sys_days(std::chrono::year(year) / month / 1) + std::chrono::days(day - 1) +
                    std::chrono::hours(hours) + std::chrono::minutes(minutes) + std::chrono::seconds(seconds);
  return {static_cast<double>((time - kReferenceDate).count())};
}

using Content = Value::Content;

std::optional<Content> contentOf(const pugi::xml_node& element, std::size_t depth);

std::optional<Content> arrayOf(const pugi::xml_node& element, std::size_t depth) {
  Value::Array array;
  for (auto each = elementFrom(element.first_child()); each; each = elementFrom(each.next_sibling())) {
    auto content = contentOf(each, depth);
    if (!content) return std::nullopt;
    array.push_back({*std::move(content)});
  }
  return array;
}

/// Of the values of one key, the last is used, in the place of the first.
std::optional<Content> dictionaryOf(const pugi::xml_node& element, std::size_t depth) {
  Value::Dictionary dictionary;
  std::unordered_map<std::string, std::size_t> places;
  for (auto key = elementFrom(element.first_child()); key; key = elementFrom(key.next_sibling())) {
    if (!isNamed(key, "key")) return std::nullopt;
    std::string name = textOf(key);
    key = elementFrom(key.next_sibling());
    auto content = key ? contentOf(key, depth) : std::nullopt;
    if (!content) return std::nullopt;
    const auto [known, isNew] = places.try_emplace(name, dictionary.size());
    if (isNew) dictionary.push_back({std::move(name), {}});
    dictionary[known->second].value.content = *std::move(content);
  }
  return dictionary;
}

/// What the element holds, whose containers are nested at most `depth` deep; nothing when it is none of a list.
std::optional<Content> contentOf(const pugi::xml_node& element, std::size_t depth) {
  const std::string_view name = element.name();
  if (name == "array" || name == "dict") {
    if (depth == 0) return std::nullopt;
    return name == "array" ? arrayOf(element, depth - 1) : dictionaryOf(element, depth - 1);
  }
  if (name == "true" || name == "false") return name == "true";
  std::string text = textOf(element);
  if (name == "string") return text;
  if (name == "data") return dataOf(std::move(text));
  if (name == "integer") return integerOf(trimmed(text));
  if (name == "real") return realOf(trimmed(text));
  if (name == "date") return dateOf(trimmed(text));
  return std::nullopt;
}

}  // namespace

std::optional<PropertyListValue> readXmlValue(char* bytes, std::size_t size, std::string_view& problem) {
  pugi::xml_document document;
  problem = "it is no property list, or nested too deep";
  const pugi::xml_node root = parse(document, bytes, size, pugi::parse_minimal, problem);
  auto content = contentOf(root, kDeepestPropertyList);
  if (!content) return std::nullopt;
  return Value{*std::move(content)};
}

// Does without values: each record reads the table of field names, and a list may hold 100,000 strings.
std::optional<TextArray> readXmlArray(char* bytes, std::size_t size, std::string_view& problem) {
  pugi::xml_document document;
  problem = "the root of the property list is no array";
  const pugi::xml_node root = parse(document, bytes, size, pugi::parse_eol, problem);
  if (!isNamed(root, "array")) return std::nullopt;
  TextArray array;
  array.reserve(kUsualCount, size);  // no text is longer than in the file, unless it is repaired
  for (auto element = elementFrom(root.first_child()); element; element = elementFrom(element.next_sibling())) {
    const std::string_view text = element.value();
    if (!isNamed(element, "string")) {
      array.append(std::nullopt);
    } else if (element.first_child() || !isXmlAllowed(text)) {
      array.append(textOf(element));
    } else {
      array.append(text);
    }
  }
  return array;
}

}  // namespace sqm::platform
