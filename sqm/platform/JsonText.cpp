#include "sqm/platform/JsonText.h"

#include <cstddef>
#include <new>
#include <string_view>

#include "sqm/common/Utf8.h"

namespace sqm::platform {

namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

/// True for a byte that stands for itself in a JSON string.
constexpr bool isPlain(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte >= 0x20 && byte < 0x80 && byte != '"' && byte != '\\';
}

/// Appends what stands for a quotation mark, a backslash or a control character.
void appendEscape(std::string& out, char character) {
  constexpr std::string_view kNamed = "\"\\\b\f\n\r\t";
  constexpr std::string_view kNames = "\"\\bfnrt";
  constexpr std::string_view kDigits = "0123456789abcdef";
  out += '\\';
  if (const auto at = kNamed.find(character); at != std::string_view::npos) {
    out += kNames[at];
  } else {
    out.append("u00");
    out += kDigits[static_cast<std::size_t>(character) >> 4];
    out += kDigits[static_cast<std::size_t>(character) & 0xF];
  }
}

void appendString(std::string& out, const std::string& text) {
  const std::string_view all = text;
  out += '"';
  for (std::size_t at = 0; at < all.size();) {
    std::size_t end = at;
    while (end < all.size() && isPlain(all[end])) ++end;
    out.append(all, at, end - at);
    at = end;
    if (at == all.size()) break;
    if (static_cast<unsigned char>(all[at]) < 0x80) {
      appendEscape(out, all[at++]);
    } else {
      const Utf8Sequence sequence = utf8SequenceAt(all.substr(at));
      out.append(sequence.isWellFormed ? all.substr(at, sequence.length) : kReplacementCharacter);
      at += sequence.length;
    }
  }
  out += '"';
}

template <typename Container>
std::optional<std::string> textOf(const Container& container) try {
  std::string text;
  appendJson(text, container, appendString);
  return text;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace

std::optional<std::string> JsonText::JSONString(const JsonObject& dictionary) const { return textOf(dictionary); }

std::optional<std::string> JsonText::JSONString(const JsonArray& array) const { return textOf(array); }

}  // namespace sqm::platform
