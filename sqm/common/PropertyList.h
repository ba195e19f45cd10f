#pragma once

#include <memory>
#include <optional>
#include <string>

#include "sqm/common/FieldNameTable.h"
#include "sqm/common/TextArray.h"

namespace sqm {

/// Reads and writes property-list files whose root is an array of strings.
///
/// Threading: any thread, as long as one file is not read and written at once.
/// Failure: by the result; the system's reason is in the host's log. A file that is too large for the memory cannot be
/// read.
class PropertyList {
 public:
  virtual ~PropertyList() = default;

  /// The elements in file order, with nothing in the place of an element that is not a string. Returns nothing when
  /// there is no such file, or when it is no property list (XML or binary) with an array as its root. Every returned
  /// string is well-formed UTF-8.
  virtual std::optional<TextArray> arrayWithContentsOfFile(const std::string& path) = 0;

  /// The table of the field names that are the array of a file; null when it cannot be read. Several calls may return
  /// the same table.
  virtual std::shared_ptr<const FieldNameTable> fieldNamesOfFile(const std::string& path) {
    const auto names = arrayWithContentsOfFile(path);
    return names ? std::make_shared<const FieldNameTable>(*names) : nullptr;
  }

  /// Replaces the file by an XML property list of the texts in `array`; an absent one is left out. Returns true when
  /// all of it was written. A character that XML does not allow is written as U+FFFD. `atomically`: after any failure
  /// the file is the old one or the new one; otherwise it is overwritten in place.
  virtual bool writeToFile(const TextArray& array, const std::string& path, bool atomically) = 0;
};

}  // namespace sqm
