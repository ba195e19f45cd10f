#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "sqm/delivery/DeliveryStatistics.h"

#include "tools/support/Terminal.h"

namespace sqmctl {

/// Keeps the order in which members are set.
using Json = nlohmann::ordered_json;

/// Prints indented JSON. Ill-formed UTF-8 becomes U+FFFD.
void printJson(const tools::Terminal& terminal, const Json& value);

/// {"accepted":9,"delivered":4,"refused":0,"dropped":{"age":2},"waiting":3}. Of the dropped ones, the reasons that
/// there were.
Json jsonOf(const sqm::delivery::DeliveryCounts& counts);
Json jsonOf(const sqm::delivery::DropCounts& dropped);

/// Bytes for a JSON member: unchanged with the encoding "utf-8" when they are UTF-8, else in "base64".
struct EncodedBytes {
  std::string text;
  const char* encoding;
};
EncodedBytes encodedForJson(std::string_view bytes);

/// `text` with blanks after it, or before it, up to a column width in characters.
std::string padded(std::string_view text, std::size_t width);
std::string flushRight(std::string_view text, std::size_t width);

/// "     1 record  ", "   417 records": a number and its unit, both aligned in columns.
std::string counted(std::uintmax_t count, const std::string& noun);

}  // namespace sqmctl
