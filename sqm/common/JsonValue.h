#pragma once

#include <string>
#include <variant>
#include <vector>

namespace sqm {

struct JsonValue;
struct JsonMember;

/// Values under distinct keys, in the order in which they are written.
using JsonObject = std::vector<JsonMember>;

using JsonArray = std::vector<JsonValue>;

/// A number, `true`, `false` or `null` as JSON text, written unchanged.
struct JsonLiteral {
  std::string text;

  friend bool operator==(const JsonLiteral&, const JsonLiteral&) = default;
};

/// A JSON value: a string of any bytes, an object, an array or a literal.
struct JsonValue : std::variant<std::string, JsonObject, JsonArray, JsonLiteral> {
  using variant::variant;
};

struct JsonMember {
  std::string key;
  JsonValue value;

  friend bool operator==(const JsonMember&, const JsonMember&) = default;
};

}  // namespace sqm
