#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sqm/platform/files/internal/PropertyListWriter.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

/// Writes a property list as XML, in the layout of Python's plistlib, through a buffer that does not grow with the
/// list. Data is on one line. A character that XML does not allow is written as U+FFFD, and a carriage return as a
/// reference, so that a reader does not turn it into a line feed.
class XmlPropertyListWriter : public PropertyListWriter {
 public:
  explicit XmlPropertyListWriter(ByteSink sink);

  void text(std::string_view text) override;
  void data(std::string_view bytes) override;
  void integer(PropertyListValue::Integer number) override;
  void real(double number) override;
  void boolean(bool value) override;
  void date(PropertyListValue::Date date) override;
  void beginArray(std::size_t count) override { begin("array", count); }
  void beginDictionary(std::size_t count) override { begin("dict", count); }
  void key(std::string_view key) override;
  void end() override;

  /// Passes on the rest of the list.
  void finish();

 private:
  void begin(std::string_view tag, std::size_t count);
  void element(std::string_view begin, std::string_view content, std::string_view end);
  void escaped(std::string_view begin, std::string_view text, std::string_view end);
  void flushFrom(std::size_t size);

  const ByteSink sink_;
  std::string buffer_;
  std::vector<std::string_view> open_;  // the tags of the containers that are not ended; empty for one without content
  std::string indentation_;
};

}  // namespace sqm::platform
