#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace sqm {

struct JsonValue;
struct JsonMember;

/// Values under distinct keys, in the order in which they are written.
using JsonObject = std::vector<JsonMember>;

using JsonArray = std::vector<JsonValue>;

/// A number, `true`, `false` or `null` as JSON text, written unchanged. The empty text stands for a value that JSON
/// does not have: nothing that contains it can be written.
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

/// Writes values as JSON text (RFC 8259) without white space between them.
///
/// Threading: any thread.
/// Failure: nothing when the text cannot be made, as for a `JsonLiteral` without text. Ill-formed UTF-8 is not a
/// failure: it is written as U+FFFD.
class JsonWriter {
 public:
  virtual ~JsonWriter() = default;

  virtual std::optional<std::string> JSONString(const JsonObject& dictionary) const = 0;
  virtual std::optional<std::string> JSONString(const JsonArray& array) const = 0;
};

}  // namespace sqm
