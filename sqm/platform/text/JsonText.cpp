#include "sqm/platform/text/JsonText.h"

#include <cstddef>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "sqm/common/internal/TextScan.h"

namespace sqm::platform {

namespace {

// Each returns false when there is no text for the value.

/// Copies a text that is written unchanged, as most are. The library writes the others.
bool append(std::string& out, const std::string& text) {
  if (passedLength<StopAt::json>(text) == text.size()) {
    const std::size_t begin = out.size();
    out.append(text.size() + 2, '"');
    text.copy(out.data() + begin + 1, text.size());
    return true;
  }
  using Json = nlohmann::json;
  constexpr int kCompact = -1;
  out += Json(text).dump(kCompact, ' ', false, Json::error_handler_t::replace);
  return true;
}

bool append(std::string& out, const JsonLiteral& literal) {
  out += literal.text;
  return !literal.text.empty();
}

bool append(std::string& out, const JsonValue& value);

bool append(std::string& out, const JsonObject& object) {
  std::string_view separator;
  out += '{';
  for (const auto& [key, value] : object) {
    out += std::exchange(separator, ",");
    append(out, key);
    out += ':';
    if (!append(out, value)) return false;
  }
  out += '}';
  return true;
}

bool append(std::string& out, const JsonArray& array) {
  std::string_view separator;
  out += '[';
  for (const JsonValue& value : array) {
    out += std::exchange(separator, ",");
    if (!append(out, value)) return false;
  }
  out += ']';
  return true;
}

bool append(std::string& out, const JsonValue& value) {
  return std::visit([&](const auto& alternative) { return append(out, alternative); }, value);
}

template <typename Container>
std::optional<std::string> textOf(const Container& container) {
  std::optional<std::string> text(std::in_place);
  if (!append(*text, container)) text.reset();
  return text;
}

}  // namespace

std::optional<std::string> JsonText::JSONString(const JsonObject& dictionary) const { return textOf(dictionary); }

std::optional<std::string> JsonText::JSONString(const JsonArray& array) const { return textOf(array); }

}  // namespace sqm::platform
