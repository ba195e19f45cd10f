#pragma once

#include <optional>
#include <string>

#include "sqm/common/Json.h"

namespace sqm::platform {

/// Writes JSON with the keys in the order given. Each maximal ill-formed part of a string becomes U+FFFD.
///
/// Failure: std::bad_alloc.
class JsonText : public JsonWriter {
 public:
  std::optional<std::string> JSONString(const JsonObject& dictionary) const override;
  std::optional<std::string> JSONString(const JsonArray& array) const override;
};

}  // namespace sqm::platform
