#pragma once

#include <string>
#include <variant>
#include <vector>

namespace sqm {

struct JsonValue;
struct JsonMember;

/// Values under keys, in the order in which they are to be written. A key stands in it once.
using JsonObject = std::vector<JsonMember>;

using JsonArray = std::vector<JsonValue>;

/// What a JSON text is made of here. A string may hold any bytes.
struct JsonValue : std::variant<std::string, JsonObject, JsonArray> {
  using variant::variant;
};

struct JsonMember {
  std::string key;
  JsonValue value;

  friend bool operator==(const JsonMember&, const JsonMember&) = default;
};

}  // namespace sqm
