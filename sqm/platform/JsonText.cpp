#include "sqm/platform/JsonText.h"

#include <new>
#include <variant>

#include <nlohmann/json.hpp>

namespace sqm::platform {

namespace {

using Json = nlohmann::ordered_json;

Json jsonOf(const JsonValue& value);

Json jsonOf(const std::string& text) { return text; }

Json jsonOf(const JsonObject& object) {
  Json json = Json::object();
  for (const auto& [key, value] : object) json.emplace(key, jsonOf(value));
  return json;
}

Json jsonOf(const JsonArray& array) {
  Json json = Json::array();
  for (const JsonValue& value : array) json.push_back(jsonOf(value));
  return json;
}

Json jsonOf(const JsonValue& value) {
  return std::visit([](const auto& held) { return jsonOf(held); }, value);
}

template <typename Container>
std::optional<std::string> textOf(const Container& container) try {
  constexpr int kCompact = -1;
  return jsonOf(container).dump(kCompact, ' ', false, Json::error_handler_t::replace);
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace

std::optional<std::string> JsonText::JSONString(const JsonObject& dictionary) const { return textOf(dictionary); }

std::optional<std::string> JsonText::JSONString(const JsonArray& array) const { return textOf(array); }

}  // namespace sqm::platform
