#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include <gtest/gtest.h>

#include "sqm/common/internal/Base64.h"

namespace sqm {
namespace {

std::optional<std::string> decoded(std::string_view text) {
  std::size_t validLength = 0;
  return bytesOfBase64(text, validLength);
}

TEST(Base64, IsThatOfTheRfc) {
  // RFC 4648, section 10
  for (const auto& [bytes, text] : {std::pair{"", ""},
                                    {"f", "Zg=="},
                                    {"fo", "Zm8="},
                                    {"foo", "Zm9v"},
                                    {"foob", "Zm9vYg=="},
                                    {"fooba", "Zm9vYmE="},
                                    {"foobar", "Zm9vYmFy"}}) {
    EXPECT_EQ(base64Of(bytes), text);
    EXPECT_EQ(decoded(text), bytes);
  }
}

TEST(Base64, TakesAnyBytes) {
  const std::string bytes("\0\xFF\xFE\x80", 4);
  EXPECT_EQ(base64Of(bytes), "AP/+gA==");
  EXPECT_EQ(decoded("AP/+gA=="), bytes);
  EXPECT_EQ(base64Of("\xFB\xEF\xBE"), "++++");
}

TEST(Base64, TextThatNoEncoderWritesIsRejectedAtItsFirstInvalidCharacter) {
  for (const auto& [text, expected] : {std::pair{"Zg", 2},  // without padding
                                       {"Z", 1},
                                       {"Zg=", 2},
                                       {"Zg===", 2},
                                       {"=", 0},
                                       {"Zm9vY", 5},
                                       {"Zh==", 2},  // a bit beyond the last byte
                                       {"Zm9=", 3},
                                       {"Zm-v", 2},
                                       {"Zg==Zg==", 2},
                                       {"Zm9v\n", 4}}) {
    std::size_t validLength = 0;
    EXPECT_EQ(bytesOfBase64(text, validLength), std::nullopt) << text;
    EXPECT_EQ(validLength, static_cast<std::size_t>(expected)) << text;
  }
}

}  // namespace
}  // namespace sqm
