#include <cstddef>
#include <cstdint>
#include <iterator>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/internal/Utf8.h"
#include "sqm/common/internal/XmlText.h"

#include "tests/support/Bytes.h"

using namespace std::string_literals;
using sqm::appendXmlAllowed;
using sqm::appendXmlText;
using sqm::isXmlAllowed;
using sqm::XmlEscaping;

namespace {

/// An expectation, with "?" for each replacement character U+FFFD.
std::string replaced(std::string_view expectation) {
  std::string text;
  for (const char character : expectation) {
    if (character == '?') {
      text += "\xEF\xBF\xBD";
    } else {
      text += character;
    }
  }
  return text;
}

std::string markup(std::string_view text) {
  std::string out;
  appendXmlText(out, text, XmlEscaping::markup);
  return out;
}

std::string propertyList(std::string_view text) {
  std::string out;
  appendXmlText(out, text, XmlEscaping::propertyList);
  return out;
}

std::string allowed(std::string_view text) {
  std::string out;
  appendXmlAllowed(out, text);
  return out;
}

/// The code point as UTF-8, a surrogate too.
std::string encoded(std::uint32_t codePoint) {
  const auto tail = [&](int shift) { return static_cast<char>(0x80 | ((codePoint >> shift) & 0x3F)); };
  if (codePoint < 0x80) return {static_cast<char>(codePoint)};
  if (codePoint < 0x800) return {static_cast<char>(0xC0 | (codePoint >> 6)), tail(0)};
  if (codePoint < 0x10000) return {static_cast<char>(0xE0 | (codePoint >> 12)), tail(6), tail(0)};
  return {static_cast<char>(0xF0 | (codePoint >> 18)), tail(12), tail(6), tail(0)};
}

/// The production `Char` of XML 1.0.
bool isXmlChar(std::uint32_t codePoint) {
  return codePoint == 0x9 || codePoint == 0xA || codePoint == 0xD || (codePoint >= 0x20 && codePoint <= 0xD7FF) ||
         (codePoint >= 0xE000 && codePoint <= 0xFFFD) || (codePoint >= 0x10000 && codePoint <= 0x10FFFF);
}

TEST(XmlText, MarkupCharactersBecomeReferences) {
  EXPECT_EQ(markup("&<>\"'"), "&amp;&lt;&gt;&quot;&apos;");
  EXPECT_EQ(markup("a&b<c>d\"e'f"), "a&amp;b&lt;c&gt;d&quot;e&apos;f");
  EXPECT_EQ(markup("&amp;"), "&amp;amp;");
  EXPECT_EQ(markup("]]>"), "]]&gt;");
}

TEST(XmlText, PropertyListsKeepQuotesAndEscapeTheCarriageReturn) {
  EXPECT_EQ(propertyList("&<>\"'"), "&amp;&lt;&gt;\"'");
  EXPECT_EQ(propertyList("a\rb\r\nc\t"), "a&#13;b&#13;\nc\t");
}

TEST(XmlText, WhiteSpaceStaysInMarkup) { EXPECT_EQ(markup("a\rb\r\nc\t "), "a\rb\r\nc\t "); }

TEST(XmlText, AllowedTextHasNoReferences) { EXPECT_EQ(allowed("&<>\"'\r\n\t&#0;"), "&<>\"'\r\n\t&#0;"); }

TEST(XmlText, OrdinaryTextStaysAsItIs) {
  for (const std::string_view text :
       {"", "plain", "%@ %d", "Gru\xC3\x9F", "\xE2\x82\xAC", "\xF0\x9F\x93\xB6", "\x7F"}) {
    EXPECT_EQ(markup(text), text);
    EXPECT_EQ(propertyList(text), text);
    EXPECT_EQ(allowed(text), text);
    EXPECT_TRUE(isXmlAllowed(text));
  }
}

TEST(XmlText, AppendsToAnExistingText) {
  std::string out = "<";
  appendXmlText(out, "<", XmlEscaping::markup);
  appendXmlText(out, "\r", XmlEscaping::propertyList);
  appendXmlAllowed(out, "&\x01");
  EXPECT_EQ(out, replaced("<&lt;&#13;&?"));
}

TEST(XmlText, ControlCharactersAreReplacedOneByOne) {
  EXPECT_EQ(markup("a\0b"s), replaced("a?b"));
  EXPECT_EQ(markup("\x01\x08\x0B\x0C\x0E\x1F"), replaced("??????"));
}

TEST(XmlText, AllowsExactlyTheCharactersOfXml) {
  for (std::uint32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) {
    ASSERT_EQ(isXmlAllowed(encoded(codePoint)), isXmlChar(codePoint)) << "U+" << std::hex << codePoint;
  }
}

TEST(XmlText, EachMaximalSubpartIsReplacedOnce) {
  const struct {
    std::string_view what;
    std::string text;
    std::string expected;
  } cases[] = {
      // The examples of The Unicode Standard, section 3.9, tables 3-8 to 3-11.
      {"non-shortest forms", "\xC0\xAF\xE0\x80\xBF\xF0\x81\x82\x41", "????????A"},
      {"surrogates", "\xED\xA0\x80\xED\xBF\xBF\xED\xAF\x41", "????????A"},
      {"other ill-formed", "\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42", "?????A??B"},
      {"truncated", "\xE1\x80\xE2\xF0\x91\x92\xF1\xBF\x41", "????A"},
      // U+FFFE and U+FFFF are well-formed characters, which XML does not allow.
      {"U+FFFE and U+FFFF", "\xEF\xBF\xBE\xEF\xBF\xBF", "??"},
      {"their neighbours", "\xEF\xBF\xBD\xEF\xBE\xBF\xEE\xBF\xBE", "?\xEF\xBE\xBF\xEE\xBF\xBE"},
      {"end inside two bytes", "a\xC3", "a?"},
      {"end inside three bytes", "a\xE2\x82", "a?"},
      {"end inside four bytes", "a\xF0\x9F\x93", "a?"},
      {"end after an impossible second byte", "\xE0\x9F", "??"},
      {"lone continuation bytes", "\x80\xBF", "??"},
      {"overlong NUL", "\xC0\x80", "??"},
      {"overlong low line", "\xC1\x9F", "??"},
      {"beyond U+10FFFF", "\xF5\x80\x80\x80", "????"},
      {"bytes that UTF-8 never has", "\xFE\xFF", "??"},
      {"markup in place of a continuation byte", "\xE2\x82<", "?&lt;"},
      {"character after a truncated one", "\xE2\xC3\xA9", "?\xC3\xA9"},
  };
  for (const auto& [what, text, expected] : cases) {
    SCOPED_TRACE(what);
    EXPECT_EQ(markup(text), replaced(expected));
    EXPECT_EQ(isXmlAllowed(text), text == replaced(expected));
  }
}

TEST(XmlText, DoesNotReadBeyondTheEndOfTheView) {
  const std::string_view euro = "\xE2\x82\xAC";
  EXPECT_EQ(markup(euro.substr(0, 2)), replaced("?"));
  EXPECT_FALSE(isXmlAllowed(euro.substr(0, 1)));
}

TEST(XmlText, FindsOneCharacterAtEveryPosition) {
  for (std::size_t length = 0; length < 40; ++length) {
    for (std::size_t at = 0; at <= length; ++at) {
      const auto with = [&](std::string_view character) { return std::string(length, 'a').insert(at, character); };
      for (const char* refused : {"\x01", "\x1F", "\x80", "\xFF", "\xC3", "\xEF\xBF\xBE"}) {
        EXPECT_FALSE(isXmlAllowed(with(refused))) << length << " " << at;
      }
      for (const char* fine : {"\t", " ", "\x7F", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x93\xB6"}) {
        EXPECT_TRUE(isXmlAllowed(with(fine))) << length << " " << at;
      }
    }
  }
}

/// `markup`, written one character after another.
std::string markupByCharacter(std::string_view text) {
  std::string out;
  while (!text.empty()) {
    const sqm::Utf8Character first = sqm::utf8CharacterAt(text);
    const std::size_t mark = std::string_view("&<>\"'").find(text.front());
    if (!first.code || !isXmlChar(*first.code)) {
      out.append("\xEF\xBF\xBD");
    } else if (mark != std::string_view::npos) {
      constexpr const char* kReferences[] = {"&amp;", "&lt;", "&gt;", "&quot;", "&apos;"};
      out.append(kReferences[mark]);
    } else {
      out.append(text.substr(0, first.length));
    }
    text.remove_prefix(first.length);
  }
  return out;
}

TEST(XmlText, AnyBytesGiveAllowedTextThatStaysAsItIs) {
  std::mt19937 random(20240229);
  // Bytes at the limits of well-formed sequences, and whole characters, so that many sequences cross 16 bytes.
  const std::string_view pieces[] = {"a",
                                     "plain text",
                                     "&",
                                     "\"",
                                     "\t",
                                     "\r",
                                     "\x01",
                                     "\x80",
                                     "\x8F",
                                     "\x90",
                                     "\x9F",
                                     "\xA0",
                                     "\xBD",
                                     "\xBE",
                                     "\xBF",
                                     "\xC0",
                                     "\xC2",
                                     "\xDF",
                                     "\xE0",
                                     "\xE1",
                                     "\xED",
                                     "\xEF",
                                     "\xF0",
                                     "\xF1",
                                     "\xF4",
                                     "\xF5",
                                     "\xFF",
                                     "\xC3\xA9",
                                     "\xE2\x82\xAC",
                                     "\xEF\xBF\xBD",
                                     "\xEF\xBF\xBE",
                                     "\xF0\x9F\x93\xB6",
                                     "\xF4\x8F\xBF\xBF"};
  for (int round = 0; round < 30'000; ++round) {
    const std::size_t kinds = round % 3 == 0 ? std::size(pieces) : 1 + random() % std::size(pieces);
    std::string text;
    for (auto count = random() % 30; count > 0; --count) {
      text += pieces[std::size(pieces) - 1 - random() % kinds];
    }
    const std::string once = allowed(text);
    ASSERT_TRUE(isXmlAllowed(once));
    ASSERT_EQ(allowed(once), once);
    ASSERT_EQ(isXmlAllowed(text), once == text);
    ASSERT_EQ(markup(text), markupByCharacter(text));
    ASSERT_TRUE(isXmlAllowed(markup(text)));
  }
}

TEST(XmlText, CharactersAreWrittenAlikeAtEveryPosition) {
  const std::string every =
      "\t\r&<>\"'\x01\x7F\xC3\xA9\xE2\x82\xAC\xEF\xBF\xBF\xF0\x9F\x93\xB6\xE2\x82\xED\xA0\x80\xFF";
  for (std::size_t before = 0; before < 70; ++before) {
    const std::string text = std::string(before, 'b') + every + std::string(70 - before, 'a') + every;
    EXPECT_EQ(markup(text), markupByCharacter(text)) << before;
    EXPECT_EQ(allowed(text),
              std::string(before, 'b') + allowed(every) + std::string(70 - before, 'a') + allowed(every));
    EXPECT_EQ(propertyList(text),
              std::string(before, 'b') + propertyList(every) + std::string(70 - before, 'a') + propertyList(every));
  }
}

// Texts with many references, which are replaced 64 bytes at a time, and with a few characters beyond ASCII.
TEST(XmlText, ManyReferencesAreWrittenOneByOne) {
  const std::vector<std::pair<std::string, std::string>> pieces = {{"&", "&amp;"},
                                                                   {"<", "&lt;"},
                                                                   {">", "&gt;"},
                                                                   {"\r", "&#13;"},
                                                                   {"\t", "\t"},
                                                                   {"\n", "\n"},
                                                                   {"\"", "\""},
                                                                   {"ordinary", "ordinary"},
                                                                   {"a", "a"},
                                                                   {"\x01", "\xEF\xBF\xBD"},
                                                                   {"\xC3\xBC", "\xC3\xBC"},
                                                                   {"\xFF", "\xEF\xBF\xBD"}};
  std::minstd_rand random(1);
  for (std::size_t round = 0; round < 2000; ++round) {
    const std::size_t kinds = round % 2 == 0 ? pieces.size() - 2 : pieces.size();  // half of them are ASCII
    std::string text;
    std::string expected;
    while (text.size() < round / 5) {
      const auto& [from, to] = pieces[random() % kinds];
      text += from;
      expected += to;
    }
    std::string out = "before";
    appendXmlText(out, text, XmlEscaping::propertyList);
    ASSERT_EQ(out, "before" + expected) << round;
  }
}

TEST(XmlText, TextWithoutReplacementsIsAppendedInItsOwnLength) {
  const std::string text = repeated("a value \xE2\x82\xAC ", 100);
  std::string out;
  out.reserve(text.size());
  const char* const buffer = out.data();
  appendXmlText(out, text, XmlEscaping::markup);
  EXPECT_EQ(out, text);
  EXPECT_EQ(out.data(), buffer);
}

TEST(XmlText, TakesLongTextsAndAllBytes) {
  EXPECT_EQ(markup(repeated("<", 1'000'000)), repeated("&lt;", 1'000'000));
  EXPECT_TRUE(isXmlAllowed(markup(everyByte())));
}

}  // namespace
