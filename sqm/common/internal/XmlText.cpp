#include "sqm/common/internal/XmlText.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "sqm/common/internal/Utf8.h"

namespace sqm {

namespace {

/// How a character is written, by its first byte.
enum class ByteClass : std::uint8_t { plain, reference, sequence, disallowed };

using ByteClasses = std::array<ByteClass, 256>;

constexpr ByteClasses classesWithReferences(std::string_view referenced) {
  ByteClasses classes{};
  const auto classify = [&](std::string_view bytes, ByteClass as) {
    for (const char byte : bytes) classes[static_cast<unsigned char>(byte)] = as;
  };
  for (std::size_t byte = 0; byte < 0x20; ++byte) classes[byte] = ByteClass::disallowed;
  for (std::size_t byte = 0x80; byte < 0x100; ++byte) classes[byte] = ByteClass::sequence;
  classify("\t\n\r", ByteClass::plain);
  classify(referenced, ByteClass::reference);
  return classes;
}

constexpr ByteClasses kMarkupClasses = classesWithReferences("&<>\"'");
constexpr ByteClasses kPropertyListClasses = classesWithReferences("&<>\r");
constexpr ByteClasses kAllowedClasses = classesWithReferences("");

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

constexpr std::string_view referenceTo(char character) {
  switch (character) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&apos;";
    default:
      return "&#13;";
  }
}

struct Sequence {
  std::size_t length;
  bool allowed;
};

/// The multi-byte character at the beginning of `text`, or the maximal subpart of an ill-formed one.
Sequence sequenceAt(std::string_view text) {
  const auto [length, isWellFormed] = utf8SequenceAt(text);
  const bool isNoncharacter = isWellFormed && (text.starts_with("\xEF\xBF\xBE") || text.starts_with("\xEF\xBF\xBF"));
  return {length, isWellFormed && !isNoncharacter};
}

void append(std::string& out, std::string_view text, const ByteClasses& classes) {
  std::size_t runStart = 0;
  std::size_t at = 0;
  const auto replace = [&](std::size_t length, std::string_view by) {
    out.append(text, runStart, at - runStart).append(by);
    at += length;
    runStart = at;
  };
  while (at < text.size()) {
    switch (classes[static_cast<unsigned char>(text[at])]) {
      case ByteClass::plain:
        ++at;
        break;
      case ByteClass::reference:
        replace(1, referenceTo(text[at]));
        break;
      case ByteClass::disallowed:
        replace(1, kReplacementCharacter);
        break;
      case ByteClass::sequence: {
        const Sequence sequence = sequenceAt(text.substr(at));
        if (sequence.allowed) {
          at += sequence.length;
        } else {
          replace(sequence.length, kReplacementCharacter);
        }
      }
    }
  }
  out.append(text, runStart);
}

/// True when each of the eight bytes at `bytes` is an ASCII character other than U+0000 to U+001F.
bool areEightPrintable(const char* bytes) {
  constexpr std::uint64_t kEach = 0x0101010101010101;
  std::uint64_t word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return ((word | (word - 0x20 * kEach)) & 0x80 * kEach) == 0;
}

}  // namespace

void appendXmlText(std::string& out, std::string_view text, XmlEscaping escaping) {
  append(out, text, escaping == XmlEscaping::markup ? kMarkupClasses : kPropertyListClasses);
}

void appendXmlAllowed(std::string& out, std::string_view text) { append(out, text, kAllowedClasses); }

bool isXmlAllowed(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    if (text.size() - at >= 8) {
      if (areEightPrintable(text.data() + at)) {
        at += 8;
        continue;
      }
    } else if (text.size() >= 8 && areEightPrintable(text.data() + text.size() - 8)) {
      return true;  // the last eight bytes, some of which are checked twice
    }
    switch (kAllowedClasses[static_cast<unsigned char>(text[at])]) {
      case ByteClass::sequence: {
        const Sequence sequence = sequenceAt(text.substr(at));
        if (!sequence.allowed) return false;
        at += sequence.length;
        break;
      }
      case ByteClass::disallowed:
        return false;
      default:
        ++at;
    }
  }
  return true;
}

}  // namespace sqm
