#include "sqm/platform/text/JsonText.h"

#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "sqm/common/internal/TextScan.h"

namespace sqm::platform {

namespace {

/// Copies a text that is written unchanged, as most are. The library writes the others.
void append(std::string& out, const std::string& text) {
  if (passedLength<StopAt::json>(text) == text.size()) {
    out += '"';
    out += text;
    out += '"';
    return;
  }
  using Json = nlohmann::json;
  constexpr int kCompact = -1;
  out += Json(text).dump(kCompact, ' ', false, Json::error_handler_t::replace);
}

void append(std::string& out, const JsonLiteral& literal) { out += literal.text; }

void append(std::string& out, const JsonValue& value);

void append(std::string& out, const JsonObject& object) {
  std::string_view separator;
  out += '{';
  for (const auto& [key, value] : object) {
    out += std::exchange(separator, ",");
    append(out, key);
    out += ':';
    append(out, value);
  }
  out += '}';
}

void append(std::string& out, const JsonArray& array) {
  std::string_view separator;
  out += '[';
  for (const JsonValue& value : array) {
    out += std::exchange(separator, ",");
    append(out, value);
  }
  out += ']';
}

void append(std::string& out, const JsonValue& value) {
  std::visit([&](const auto& alternative) { append(out, alternative); }, value);
}

template <typename Container>
std::string textOf(const Container& container) {
  std::string text;
  append(text, container);
  return text;
}

}  // namespace

std::optional<std::string> JsonText::JSONString(const JsonObject& dictionary) const { return textOf(dictionary); }

std::optional<std::string> JsonText::JSONString(const JsonArray& array) const { return textOf(array); }

}  // namespace sqm::platform
