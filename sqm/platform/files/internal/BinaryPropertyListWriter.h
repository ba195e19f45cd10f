#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace sqm::platform {

/// Writes a binary property list ("bplist00") object by object, and hands it on in pieces: a list of any length takes a
/// small buffer and its table of offsets. libplist builds a tree first and looks for equal objects in it; here every
/// text stands as often as it was added.
///
/// The format: see BinaryPropertyList.h.
class BinaryPropertyListWriter {
 public:
  /// A place in the list's table of objects.
  using Number = std::uint64_t;

  /// Takes the next bytes of the list.
  using Sink = std::function<void(std::string_view piece)>;

  /// `objects`: how many will be added.
  BinaryPropertyListWriter(std::size_t objects, Sink sink);

  /// A string; data, when the text is none that every reader of property lists takes: ill-formed UTF-8, and characters
  /// that XML does not allow, NUL among them.
  Number addText(std::string_view text);
  Number addDictionary(std::span<const Number> keys, std::span<const Number> values);
  Number addArray(std::span<const Number> elements);

  /// Ends the list, with the object added last as its root.
  void finish();

 private:
  Number begin(unsigned kind, std::size_t count);
  void addReferences(std::span<const Number> references);
  void handOn();

  const std::size_t referenceSize_;
  const Sink sink_;
  std::size_t handedOn_ = 0;
  std::string bytes_;  // what comes after that
  std::vector<std::size_t> offsets_;
};

}  // namespace sqm::platform
