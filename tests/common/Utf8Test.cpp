#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "sqm/common/internal/Utf8.h"

using namespace std::string_literals;
using sqm::isWellFormedUtf8;
using sqm::utf8SequenceAt;

namespace {

TEST(Utf8, FirstAndLastCharacterOfEveryLengthAreWellFormed) {
  for (const std::string& text :
       {""s, "plain"s, "\0"s, "\x7F"s, "\xC2\x80"s, "\xDF\xBF"s, "\xE0\xA0\x80"s, "\xED\x9F\xBF"s, "\xEE\x80\x80"s,
        "\xEF\xBF\xBF"s, "\xF0\x90\x80\x80"s, "\xF4\x8F\xBF\xBF"s, "a\xC3\xA9\0\xE2\x82\xAC"s}) {
    EXPECT_TRUE(isWellFormedUtf8(text)) << text;
  }
}

TEST(Utf8, WhatLiesBesideThemIsNot) {
  for (const std::string& text :
       {"\x80"s, "\xBF"s, "\xC1\xBF"s, "\xC2\x7F"s, "\xC2\xC0"s, "\xE0\x9F\xBF"s, "\xED\xA0\x80"s, "\xF0\x8F\xBF\xBF"s,
        "\xF4\x90\x80\x80"s, "\xF5\x80\x80\x80"s, "\xFF"s, "a\xC3"s, "\xE2\x82"s, "\xF0\x9F\x93"s, "\xE2\x82z"s}) {
    EXPECT_FALSE(isWellFormedUtf8(text)) << text;
  }
}

TEST(Utf8, NoByteIsPassedOverWhereverItStands) {
  for (std::size_t length = 0; length < 24; ++length) {
    for (std::size_t at = 0; at <= length; ++at) {
      const auto with = [&](std::string_view bytes) { return std::string(length, 'x').insert(at, bytes); };
      EXPECT_TRUE(isWellFormedUtf8(with("\xC3\xA9"))) << at << " of " << length;
      EXPECT_FALSE(isWellFormedUtf8(with("\xFF"))) << at << " of " << length;
      EXPECT_FALSE(isWellFormedUtf8(with("\xC3"))) << at << " of " << length;
    }
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

}  // namespace
