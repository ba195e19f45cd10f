#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "sqm/common/TextArray.h"
#include "sqm/common/internal/XmlText.h"
#include "sqm/platform/files/internal/PropertyListValue.h"
#include "sqm/platform/files/internal/WholeFile.h"

namespace sqm::platform {

// The two forms of a property list, XML and binary ("bplist00").
//
// The readers bound nesting and memory. Without a result, `problem` says why. Those of XML parse the bytes in place,
// which spoils them, and determine the encoding by the bytes: UTF-8, or UTF-16 and UTF-32 in either order.

bool isBinaryPropertyList(std::string_view bytes);

/// The array of strings that is the root, with nothing in the place of other elements. Every text is well-formed.
std::optional<TextArray> readXmlArray(char* bytes, std::size_t size, std::string_view& problem);
std::optional<TextArray> readBinaryArray(std::string_view bytes, std::string_view& problem);

/// Reads an array from a file that was just opened and has exactly the layout of `writeXmlArray`: in one pass, piece by
/// piece, whatever its size. `array` stays empty when the layout is another one. Returns why the file cannot be read.
std::error_code readWrittenArray(FileOperations& files, const File& file, std::optional<TextArray>& array);

/// The whole list. A number or date that is none counts as its beginning that is one, else as zero; data that is none
/// is empty.
std::optional<PropertyListValue> readXmlValue(char* bytes, std::size_t size, std::string_view& problem);

/// The whole list, which may take about `room` bytes of memory. A text that the file holds as bytes is returned
/// unchanged, even if it is ill-formed.
std::optional<PropertyListValue> readBinaryValue(std::string_view bytes, std::size_t room, std::string_view& problem);

/// The whole list, of either form. `room` bounds a binary one; one of XML takes what its size allows.
inline std::optional<PropertyListValue> readPropertyList(const FileBytes& file, std::size_t room,
                                                         std::string_view& problem) {
  return isBinaryPropertyList(file.text()) ? readBinaryValue(file.text(), room, problem)
                                           : readXmlValue(file.bytes.get(), file.size, problem);
}

/// Writes the texts of an array that are present, in the layout of Python's plistlib, through a buffer that does not
/// grow with the list. A character that XML does not allow is written as U+FFFD, and a carriage return as a reference,
/// so that a reader does not turn it into a line feed.
void writeXmlArray(const TextArray& array, const ByteSink& sink);

/// The list as XML in the layout of libplist, which wrote the preferences first.
std::string xmlOf(const PropertyListValue& root);

/// The list in its binary form. `sharedKeys` are written first, once, whether or not they are used; every other text is
/// written as often as it occurs. See BinaryPropertyListWriter.
std::string binaryOf(const PropertyListValue& root, std::span<const std::string_view> sharedKeys = {});

/// The text, repaired if XML does not allow it.
inline std::string xmlAllowed(std::string text) {
  if (isXmlAllowed(text)) return text;
  std::string repaired;
  repaired.reserve(text.size());
  appendXmlAllowed(repaired, text);
  return repaired;
}

}  // namespace sqm::platform
