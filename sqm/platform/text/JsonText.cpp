#include "sqm/platform/text/JsonText.h"

#include <new>

#include <nlohmann/json.hpp>

namespace sqm::platform {

namespace {

void appendString(std::string& out, const std::string& text) {
  using Json = nlohmann::json;
  constexpr int kCompact = -1;
  out += Json(text).dump(kCompact, ' ', false, Json::error_handler_t::replace);
}

template <typename Container>
std::optional<std::string> textOf(const Container& container) try {
  std::string text;
  appendJson(text, container, appendString);
  return text;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace

std::optional<std::string> JsonText::JSONString(const JsonObject& dictionary) const { return textOf(dictionary); }

std::optional<std::string> JsonText::JSONString(const JsonArray& array) const { return textOf(array); }

}  // namespace sqm::platform
