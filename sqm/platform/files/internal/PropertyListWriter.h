#pragma once

#include <cstddef>
#include <string_view>

#include "sqm/platform/files/internal/PropertyListValue.h"

namespace sqm::platform {

/// Writes the values of a property list one after another, in either form. A container is begun with the number of its
/// elements, which follow, and ended. In a dictionary a `key` precedes each value.
class PropertyListWriter {
 public:
  virtual ~PropertyListWriter() = default;

  virtual void text(std::string_view text) = 0;
  virtual void data(std::string_view bytes) = 0;
  virtual void integer(PropertyListValue::Integer number) = 0;
  virtual void real(double number) = 0;
  virtual void boolean(bool value) = 0;
  virtual void date(PropertyListValue::Date date) = 0;
  virtual void beginArray(std::size_t count) = 0;
  virtual void beginDictionary(std::size_t count) = 0;
  virtual void key(std::string_view key) = 0;
  virtual void end() = 0;
};

}  // namespace sqm::platform
