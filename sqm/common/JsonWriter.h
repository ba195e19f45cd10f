#pragma once

#include <optional>
#include <string>

#include "sqm/common/JsonValue.h"

namespace sqm {

/// Writes values as JSON text (RFC 8259) without white space between them.
///
/// Threading: any thread.
/// Failure: nothing when the text cannot be made. Ill-formed UTF-8 is not a failure: it is written as U+FFFD.
class JsonWriter {
 public:
  virtual ~JsonWriter() = default;

  virtual std::optional<std::string> JSONString(const JsonObject& dictionary) const = 0;
  virtual std::optional<std::string> JSONString(const JsonArray& array) const = 0;
};

}  // namespace sqm
