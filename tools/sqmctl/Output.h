#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "tools/support/Terminal.h"

namespace sqmctl {

/// Keeps the order in which members are set.
using Json = nlohmann::ordered_json;

/// Writes a value for programs, indented. What is not well-formed UTF-8 becomes U+FFFD.
void printJson(const tools::Terminal& terminal, const Json& value);

/// Bytes in a member: as they are and "utf-8" as their encoding, or, where they are no UTF-8, "base64".
struct EncodedBytes {
  std::string text;
  const char* encoding;
};
EncodedBytes encodedForJson(std::string_view bytes);

/// `text` and blanks, as wide as a column of this many characters; and the same with the blanks before it.
std::string padded(std::string_view text, std::size_t width);
std::string flushRight(std::string_view text, std::size_t width);

/// "     1 record  ", "   417 records": a number and its unit, so that both stand in columns.
std::string counted(std::uintmax_t count, const std::string& noun);

}  // namespace sqmctl
