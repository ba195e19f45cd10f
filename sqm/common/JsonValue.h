#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

namespace sqm {

struct JsonValue;
struct JsonMember;

/// Values under keys, in the order in which they are to be written. A key stands in it once.
using JsonObject = std::vector<JsonMember>;

using JsonArray = std::vector<JsonValue>;

/// A number, `true`, `false` or `null`, as it stands in JSON text; written as it is.
struct JsonLiteral {
  std::string text;

  friend bool operator==(const JsonLiteral&, const JsonLiteral&) = default;
};

/// What a JSON text is made of. A string may hold any bytes.
struct JsonValue : std::variant<std::string, JsonObject, JsonArray, JsonLiteral> {
  using variant::variant;
};

struct JsonMember {
  std::string key;
  JsonValue value;

  friend bool operator==(const JsonMember&, const JsonMember&) = default;
};

/// Appends a string to `out` as it stands in JSON text: with its quotes, escaped.
using AppendJsonString = std::function<void(std::string& out, const std::string& text)>;

/// Append JSON text without white space to `out`.
void appendJson(std::string& out, const JsonObject& object, const AppendJsonString& appendString);
void appendJson(std::string& out, const JsonArray& array, const AppendJsonString& appendString);

}  // namespace sqm
