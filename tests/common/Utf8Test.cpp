#include <cstddef>
#include <iterator>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/internal/Utf8.h"

using namespace std::string_literals;
using namespace std::string_view_literals;
using sqm::isWellFormedUtf8;
using sqm::utf8CharacterAt;
using sqm::utf8PrefixLength;
using sqm::utf8SequenceAt;

namespace {

TEST(Utf8, FirstAndLastCharacterOfEveryLengthAreWellFormed) {
  for (const std::string& text :
       {""s, "plain"s, "\0"s, "\x7F"s, "\xC2\x80"s, "\xDF\xBF"s, "\xE0\xA0\x80"s, "\xED\x9F\xBF"s, "\xEE\x80\x80"s,
        "\xEF\xBF\xBF"s, "\xF0\x90\x80\x80"s, "\xF4\x8F\xBF\xBF"s, "a\xC3\xA9\0\xE2\x82\xAC"s}) {
    EXPECT_TRUE(isWellFormedUtf8(text)) << text;
  }
}

TEST(Utf8, SequencesBesideThemAreIllFormed) {
  for (const std::string& text :
       {"\x80"s, "\xBF"s, "\xC1\xBF"s, "\xC2\x7F"s, "\xC2\xC0"s, "\xE0\x9F\xBF"s, "\xED\xA0\x80"s, "\xF0\x8F\xBF\xBF"s,
        "\xF4\x90\x80\x80"s, "\xF5\x80\x80\x80"s, "\xFF"s, "a\xC3"s, "\xE2\x82"s, "\xF0\x9F\x93"s, "\xE2\x82z"s}) {
    EXPECT_FALSE(isWellFormedUtf8(text)) << text;
  }
}

TEST(Utf8, IsCheckedAtEveryPosition) {
  for (std::size_t length = 0; length < 24; ++length) {
    for (std::size_t at = 0; at <= length; ++at) {
      const auto with = [&](std::string_view bytes) { return std::string(length, 'x').insert(at, bytes); };
      EXPECT_TRUE(isWellFormedUtf8(with("\xC3\xA9"))) << at << " of " << length;
      EXPECT_FALSE(isWellFormedUtf8(with("\xFF"))) << at << " of " << length;
      EXPECT_FALSE(isWellFormedUtf8(with("\xC3"))) << at << " of " << length;
    }
  }
}

TEST(Utf8, IsWellFormedWhenEveryCharacterIs) {
  std::mt19937 random(20240301);
  const std::string_view pieces[] = {
      "a",    "plain text", "\0"sv, "\x80", "\x9F", "\xA0",     "\xBF",         "\xC1",         "\xC2",
      "\xE0", "\xED",       "\xF0", "\xF4", "\xF5", "\xC3\xA9", "\xE2\x82\xAC", "\xEF\xBF\xBF", "\xF0\x9F\x93\xB6"};
  for (int round = 0; round < 30'000; ++round) {
    std::string text;
    const std::size_t kinds = 1 + random() % std::size(pieces);
    for (auto count = random() % 30; count > 0; --count) text += pieces[std::size(pieces) - 1 - random() % kinds];
    bool isWellFormed = true;
    for (std::string_view rest = text; !rest.empty(); rest.remove_prefix(utf8CharacterAt(rest).length)) {
      isWellFormed = isWellFormed && utf8CharacterAt(rest).code;
    }
    ASSERT_EQ(isWellFormedUtf8(text), isWellFormed);
  }
}

TEST(Utf8, SequenceEndsWithTheCharacterOrItsMaximalSubpart) {
  const struct {
    std::string_view text;
    std::size_t length;
    bool isWellFormed;
  } cases[] = {
      {"\xC3\xA9z", 2, true},
      {"\xE2\x82\xACz", 3, true},
      {"\xF0\x9F\x93\xB6z", 4, true},
      {"\x80z", 1, false},
      {"\xC3z", 1, false},
      {"\xE2\x82z", 2, false},
      {"\xF0\x9F\x93z", 3, false},
      {"\xE0\x9F\x80", 1, false},
      {"\xED\xA0\x80", 1, false},
      {"\xF4\x90\x80\x80", 1, false},
      {"\xF5\x80\x80\x80", 1, false},
      {"\xF1\x80", 2, false},
  };
  for (const auto& [text, length, isWellFormed] : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(utf8SequenceAt(text).length, length);
    EXPECT_EQ(utf8SequenceAt(text).isWellFormed, isWellFormed);
  }
}

TEST(Utf8, CharacterHasACodeUnlessItIsIllFormed) {
  const struct {
    std::string_view text;
    std::size_t length;
    std::optional<char32_t> code;
  } cases[] = {
      {"\0z"sv, 1, U'\0'},
      {"az", 1, U'a'},
      {"\xC3\xA9z", 2, U'\u00E9'},
      {"\xE2\x82\xACz", 3, U'\u20AC'},
      {"\xF0\x9F\x93\xB6z", 4, U'\U0001F4F6'},
      {"\xF4\x8F\xBF\xBF", 4, U'\U0010FFFF'},
      {"\xFFz", 1, std::nullopt},
      {"\xE2\x82z", 2, std::nullopt},
  };
  for (const auto& [text, length, code] : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(utf8CharacterAt(text).length, length);
    EXPECT_EQ(utf8CharacterAt(text).code, code);
  }
}

TEST(Utf8, PrefixEndsBetweenTwoSequences) {
  const struct {
    std::string_view text;
    std::size_t limit;
    std::size_t length;
  } cases[] = {
      {"", 0, 0},
      {"abc", 3, 3},
      {"abc", 9, 3},
      {"abc", 2, 2},
      {"abc", 0, 0},
      {"a\xC3\xA9", 3, 3},
      {"a\xC3\xA9", 2, 1},
      {"a\xE2\x82\xACz", 3, 1},
      {"a\xE2\x82\xACz", 4, 4},
      {"a\xF0\x9F\x93\xB6z", 4, 1},
      {"a\xF0\x9F\x93\xB6z", 5, 5},
      {"\xF0\x9F\x93\xB6", 3, 0},
      {"\xE2\x82z", 1, 0},  // the maximal subpart of an ill-formed sequence
      {"\xE2\x82z", 2, 2},
      {"\xC3zz", 1, 1},
      {"\x80\x80\x80\x80\x80", 4, 4},  // each byte is a sequence of its own
      {"\xC3\xA9\x80\x80", 3, 3},
      {"\xED\xA0\x80", 1, 1},
  };
  for (const auto& [text, limit, length] : cases) {
    SCOPED_TRACE(text);
    EXPECT_EQ(utf8PrefixLength(text, limit), length) << limit;
  }
}

TEST(Utf8, CutsNeverChangeTheSequences) {
  const auto lengths = [](std::string_view text) {
    std::vector<std::size_t> all;
    for (; !text.empty(); text.remove_prefix(all.back())) all.push_back(utf8CharacterAt(text).length);
    return all;
  };
  for (const std::string_view text :
       {"a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\xB6z"sv, "\x80\xF0\x9F\x93\xE2\x82\xC3\xBF\xBF"sv}) {
    for (std::size_t limit = 0; limit <= text.size(); ++limit) {
      const std::size_t cut = utf8PrefixLength(text, limit);
      EXPECT_LE(cut, limit);
      std::vector<std::size_t> parts = lengths(text.substr(0, cut));
      for (const std::size_t length : lengths(text.substr(cut))) parts.push_back(length);
      EXPECT_EQ(parts, lengths(text)) << limit;
    }
  }
}

}  // namespace
