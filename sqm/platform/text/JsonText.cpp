#include "sqm/platform/text/JsonText.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

#include "sqm/common/internal/Utf8.h"

namespace sqm::platform {

namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

/// The characters that are written as themselves: ASCII without the controls, the quotation mark and the backslash.
constexpr std::array<bool, 256> kIsPlain = [] {
  std::array<bool, 256> isPlain{};
  for (std::size_t byte = 0x20; byte < 0x80; ++byte) isPlain[byte] = byte != '"' && byte != '\\';
  return isPlain;
}();

/// RFC 8259, section 7: the short forms, else "\u00XX".
void appendEscaped(std::string& out, char character) {
  constexpr std::string_view kShort = "\"\\\b\f\n\r\t";
  constexpr std::string_view kLetters = "\"\\bfnrt";
  constexpr std::string_view kDigits = "0123456789abcdef";
  out += '\\';
  if (const std::size_t at = kShort.find(character); at != std::string_view::npos) {
    out += kLetters[at];
  } else {
    const auto byte = static_cast<unsigned char>(character);
    out.append("u00").append(1, kDigits[byte >> 4]).append(1, kDigits[byte & 0xF]);
  }
}

void append(std::string& out, std::string_view text) {
  out += '"';
  while (!text.empty()) {
    std::size_t plain = 0;
    while (plain < text.size() && kIsPlain[static_cast<unsigned char>(text[plain])]) ++plain;
    out.append(text, 0, plain);
    text.remove_prefix(plain);
    if (text.empty()) break;
    std::size_t length = 1;
    if (static_cast<unsigned char>(text.front()) < 0x80) {
      appendEscaped(out, text.front());
    } else {
      const Utf8Sequence sequence = utf8SequenceAt(text);
      length = sequence.length;
      out.append(sequence.isWellFormed ? text.substr(0, length) : kReplacementCharacter);
    }
    text.remove_prefix(length);
  }
  out += '"';
}

void append(std::string& out, const std::string& text) { append(out, std::string_view(text)); }

void append(std::string& out, const JsonLiteral& literal) { out += literal.text; }

void append(std::string& out, const JsonValue& value);

void append(std::string& out, const JsonObject& object) {
  std::string_view separator;
  out += '{';
  for (const auto& [key, value] : object) {
    out += std::exchange(separator, ",");
    append(out, key);
    out += ':';
    append(out, value);
  }
  out += '}';
}

void append(std::string& out, const JsonArray& array) {
  std::string_view separator;
  out += '[';
  for (const JsonValue& value : array) {
    out += std::exchange(separator, ",");
    append(out, value);
  }
  out += ']';
}

void append(std::string& out, const JsonValue& value) {
  std::visit([&](const auto& alternative) { append(out, alternative); }, value);
}

template <typename Container>
std::string textOf(const Container& container) {
  std::string text;
  append(text, container);
  return text;
}

}  // namespace

std::optional<std::string> JsonText::JSONString(const JsonObject& dictionary) const { return textOf(dictionary); }

std::optional<std::string> JsonText::JSONString(const JsonArray& array) const { return textOf(array); }

}  // namespace sqm::platform
