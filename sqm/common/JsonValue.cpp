#include "sqm/common/JsonValue.h"

#include <utility>

namespace sqm {

namespace {

void append(std::string& out, const JsonValue& value, const AppendJsonString& appendString) {
  if (const auto* text = std::get_if<std::string>(&value)) {
    appendString(out, *text);
  } else if (const auto* object = std::get_if<JsonObject>(&value)) {
    appendJson(out, *object, appendString);
  } else if (const auto* array = std::get_if<JsonArray>(&value)) {
    appendJson(out, *array, appendString);
  } else {
    out += std::get<JsonLiteral>(value).text;
  }
}

}  // namespace

void appendJson(std::string& out, const JsonObject& object, const AppendJsonString& appendString) {
  const char* separator = "";
  out += '{';
  for (const auto& [key, value] : object) {
    out += std::exchange(separator, ",");
    appendString(out, key);
    out += ':';
    append(out, value, appendString);
  }
  out += '}';
}

void appendJson(std::string& out, const JsonArray& array, const AppendJsonString& appendString) {
  const char* separator = "";
  out += '[';
  for (const JsonValue& value : array) {
    out += std::exchange(separator, ",");
    append(out, value, appendString);
  }
  out += ']';
}

}  // namespace sqm
