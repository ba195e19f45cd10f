#include "sqm/testing/FakeServices.h"

namespace sqm::testing {

namespace {

void appendString(std::string& out, const std::string& text) {
  out += '"';
  for (const char character : text) {
    if (character == '"' || character == '\\') out += '\\';
    out += character;
  }
  out += '"';
}

}  // namespace

std::optional<std::string> PlainJson::JSONString(const JsonObject& dictionary) const {
  if (refusesObjects) return std::nullopt;
  std::string text;
  appendJson(text, dictionary, appendString);
  return text;
}

std::optional<std::string> PlainJson::JSONString(const JsonArray& array) const {
  if (refusedArray && *refusedArray == array) return std::nullopt;
  std::string text;
  appendJson(text, array, appendString);
  return text;
}

}  // namespace sqm::testing
