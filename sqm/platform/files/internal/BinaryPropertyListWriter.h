#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/platform/files/internal/PropertyListWriter.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

/// Writes a binary property list ("bplist00") object by object and passes it on in pieces: a list of any length needs a
/// small buffer and its table of offsets. Every text is written as often as it is added, except for shared keys.
///
/// The format: see BinaryPropertyList.h.
class BinaryPropertyListWriter : public PropertyListWriter {
 public:
  /// `objects`: at least as many values and keys as will be added, the shared keys once. Those are written first, in
  /// this order, whether or not they are used, and must outlive the writer.
  BinaryPropertyListWriter(std::size_t objects, std::span<const std::string_view> sharedKeys, ByteSink sink);

  /// Writes a string; data when the text is ill-formed or has characters that XML does not allow, NUL among them:
  /// other readers of property lists reject such strings.
  void text(std::string_view text) override;
  void data(std::string_view bytes) override;
  void integer(PropertyListValue::Integer number) override;
  void real(double number) override;
  void boolean(bool value) override;
  void date(PropertyListValue::Date date) override;
  void beginArray(std::size_t /*count*/) override { open_.push_back({false, pending_.size()}); }
  void beginDictionary(std::size_t /*count*/) override { open_.push_back({true, pending_.size()}); }
  void key(std::string_view key) override;
  void end() override;

  /// Writes the table and passes on the rest. The value added last is the root.
  void finish();

 private:
  /// A container, which is written when its elements are.
  struct Container {
    bool isDictionary;
    std::size_t first;  // the beginning of its references in pending_, in a dictionary a key and its value by turns
  };

  void begin(unsigned marker);
  void begin(unsigned kind, std::size_t count);
  void flush();

  const std::size_t referenceSize_;
  const ByteSink sink_;
  std::size_t flushed_ = 0;
  std::string bytes_;  // those after the flushed ones
  std::vector<std::size_t> offsets_;
  std::vector<std::uint64_t> pending_;  // objects that the open containers refer to
  std::vector<Container> open_;
  const std::span<const std::string_view> sharedKeys_;
};

}  // namespace sqm::platform
