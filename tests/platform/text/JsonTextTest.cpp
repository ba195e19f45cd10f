#include <gtest/gtest.h>

#include "sqm/platform/text/JsonText.h"

namespace sqm::platform {
namespace {

std::string written(const JsonArray& array) { return JsonText().JSONString(array).value(); }

TEST(JsonText, KeysKeepTheirOrder) {
  EXPECT_EQ(JsonText().JSONString(JsonObject{{"z", "1"}, {"a", JsonObject{{"y", "2"}, {"b", "3"}}}, {"m", ""}}),
            R"({"z":"1","a":{"y":"2","b":"3"},"m":""})");
}

TEST(JsonText, ValuesNest) {
  EXPECT_EQ(written({"text", JsonObject{}, JsonArray{}, JsonObject{{"list", JsonArray{"a", JsonArray{"b"}}}}}),
            R"(["text",{},[],{"list":["a",["b"]]}])");
  EXPECT_EQ(JsonText().JSONString(JsonObject{}), "{}");
  EXPECT_EQ(written({}), "[]");
}

TEST(JsonText, LiteralsAreWrittenUnchanged) {
  EXPECT_EQ(written({JsonLiteral{"1.10"}, JsonLiteral{"true"}, JsonObject{{"a", JsonLiteral{"null"}}}}),
            R"([1.10,true,{"a":null}])");
}

TEST(JsonText, AValueThatJsonDoesNotHaveLeavesNoText) {
  const JsonLiteral none;
  EXPECT_EQ(JsonText().JSONString(JsonArray{"a", none, "b"}), std::nullopt);
  EXPECT_EQ(JsonText().JSONString(JsonArray{JsonArray{none}}), std::nullopt);
  EXPECT_EQ(JsonText().JSONString(JsonObject{{"a", JsonObject{{"b", none}}}}), std::nullopt);
}

TEST(JsonText, TextsAreEscapedAsJsonRequires) {
  EXPECT_EQ(written({std::string("\" \\ / \b\f\n\r\t \x01\x1F\x7F \0", 17)}),
            "[\"\\\" \\\\ / \\b\\f\\n\\r\\t \\u0001\\u001f\x7F \\u0000\"]");
  EXPECT_EQ(JsonText().JSONString(JsonObject{{"k\"", "v"}}), R"({"k\"":"v"})");
}

TEST(JsonText, WellFormedTextIsWrittenUnchanged) {
  const std::string text = "gr\xC3\xBCn \xE2\x82\xAC \xF0\x9F\x93\xB6 \xEF\xBF\xBD";
  EXPECT_EQ(written({text}), "[\"" + text + "\"]");
}

TEST(JsonText, IllFormedPartsBecomeReplacementCharacters) {
  const struct {
    std::string text;
    std::string replaced;
  } kCases[] = {
      {"\x80", "\xEF\xBF\xBD"},         {"a\xFFz", "a\xEF\xBF\xBDz"},
      {"\xC3", "\xEF\xBF\xBD"},         {"\xC3z", "\xEF\xBF\xBDz"},
      {"\xE2\x82", "\xEF\xBF\xBD"},     {"\xE2\x82z", "\xEF\xBF\xBDz"},
      {"\xF0\x9F\x93", "\xEF\xBF\xBD"}, {"\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},
  };
  for (const auto& [text, replaced] : kCases) {
    const std::string quoted = '"' + replaced + '"';
    EXPECT_EQ(written({text}), '[' + quoted + ']');
    EXPECT_EQ(JsonText().JSONString(JsonObject{{text, "v"}}), '{' + quoted + R"(:"v"})");
  }
}

TEST(JsonText, AByteIsEscapedWhereverItStands) {
  for (int value = 0; value < 256; ++value) {
    const char byte = static_cast<char>(value);
    const std::string alone = written({std::string(1, byte)});
    const std::string escaped = alone.substr(2, alone.size() - 4);
    for (std::size_t before = 0; before < 40; ++before) {
      const std::string text = std::string(before, 'b') + byte + std::string(39 - before, 'a');
      EXPECT_EQ(written({text}), "[\"" + std::string(before, 'b') + escaped + std::string(39 - before, 'a') + "\"]")
          << value << " after " << before;
    }
  }
}

TEST(JsonText, AnyPairOfBytesGivesAText) {
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      const std::string text = {static_cast<char>(first), static_cast<char>(second)};
      EXPECT_TRUE(JsonText().JSONString(JsonArray{text}).has_value()) << first << " " << second;
    }
  }
}

}  // namespace
}  // namespace sqm::platform
