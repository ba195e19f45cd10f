#include "tools/sqmctl/play/ShownValue.h"

#include <cstddef>

#include <nlohmann/json.hpp>

#include "sqm/common/internal/Utf8.h"

namespace sqmctl::play {

namespace {

constexpr std::size_t kLongest = 40;  // bytes
constexpr std::string_view kEllipsis = "...";

}  // namespace

std::string shownText(std::string_view text) {
  const std::string whole = nlohmann::json(text.substr(0, sqm::utf8PrefixLength(text, kLongest))).dump();
  return text.size() > kLongest ? whole.substr(0, whole.size() - 1).append(kEllipsis).append("\"") : whole;
}

std::string shown(const sqm::JsonValue& value) {
  if (const auto* text = std::get_if<std::string>(&value)) return shownText(*text);
  if (std::holds_alternative<sqm::JsonObject>(value)) return "an object";
  if (std::holds_alternative<sqm::JsonArray>(value)) return "a list";
  std::string digits = std::get<sqm::JsonLiteral>(value).text;
  if (digits.size() > kLongest) digits.erase(kLongest).append(kEllipsis);
  return digits;
}

}  // namespace sqmctl::play
