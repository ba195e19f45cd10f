#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "sqm/common/internal/Base64.h"

namespace sqm {
namespace {

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
  }
}

TEST(Base64, TakesAnyBytes) {
  EXPECT_EQ(base64Of(std::string("\0\xFF\xFE\x80", 4)), "AP/+gA==");
  EXPECT_EQ(base64Of("\xFB\xEF\xBE"), "++++");
}

}  // namespace
}  // namespace sqm
