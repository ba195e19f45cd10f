#include "sqm/testing/FakeServices.h"

namespace sqm::testing {

namespace {

void append(std::string& out, const JsonValue& value);

void append(std::string& out, const std::string& text) {
  out += '"';
  for (const char character : text) {
    if (character == '"' || character == '\\') out += '\\';
    out += character;
  }
  out += '"';
}

void append(std::string& out, const JsonObject& object) {
  const char* separator = "";
  out += '{';
  for (const JsonMember& member : object) {
    out += std::exchange(separator, ",");
    append(out, member.key);
    out += ':';
    append(out, member.value);
  }
  out += '}';
}

void append(std::string& out, const JsonArray& array) {
  const char* separator = "";
  out += '[';
  for (const JsonValue& value : array) {
    out += std::exchange(separator, ",");
    append(out, value);
  }
  out += ']';
}

void append(std::string& out, const JsonValue& value) {
  std::visit([&](const auto& held) { append(out, held); }, value);
}

}  // namespace

std::optional<std::string> PlainJson::JSONString(const JsonObject& dictionary) const {
  if (refusesObjects) return std::nullopt;
  std::string text;
  append(text, dictionary);
  return text;
}

std::optional<std::string> PlainJson::JSONString(const JsonArray& array) const {
  if (refusedArray && *refusedArray == array) return std::nullopt;
  std::string text;
  append(text, array);
  return text;
}

}  // namespace sqm::testing
