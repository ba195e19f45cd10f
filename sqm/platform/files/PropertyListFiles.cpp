#include "sqm/platform/files/PropertyListFiles.h"

#include <cstddef>
#include <new>
#include <string_view>

#include "sqm/common/internal/XmlText.h"
#include "sqm/platform/files/internal/BinaryPropertyList.h"
#include "sqm/platform/files/internal/WholeFile.h"
#include "sqm/platform/files/internal/XmlPropertyList.h"

namespace sqm::platform {

namespace {

constexpr std::size_t kLargestFile = std::size_t{1} << 29;
constexpr std::string_view kNoMemory = "there is not enough memory for it";

// The texts of the file format: not to change.
constexpr std::string_view kBegin =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kEnd = "</plist>\n";
constexpr std::string_view kEmptyArray = "<array/>\n";
constexpr std::string_view kArrayBegin = "<array>\n";
constexpr std::string_view kArrayEnd = "</array>\n";
constexpr std::string_view kStringBegin = "\t<string>";
constexpr std::string_view kStringEnd = "</string>\n";

/// Strings are escaped in pieces of this size, so that the buffer has room for each.
constexpr std::size_t kPiece = 8 * 1024;
constexpr std::size_t kLongestEscape = 5;  // "&amp;"
constexpr std::size_t kFlushAt = 64 * 1024;
constexpr std::size_t kBuffer = kFlushAt + kLongestEscape * kPiece + kStringEnd.size() + kStringBegin.size();

/// The length of a first piece of `text` that parts no character: whatever is ill-formed stays as ill-formed as it was.
std::size_t pieceLength(std::string_view text) {
  if (text.size() <= kPiece) return text.size();
  constexpr std::size_t kMostContinuationBytes = 3;
  for (std::size_t length = kPiece; length >= kPiece - kMostContinuationBytes; --length) {
    if ((static_cast<unsigned char>(text[length]) & 0xC0) != 0x80) return length;
  }
  return kPiece;  // nothing but continuation bytes: no character reaches across here
}

class ArrayWriter {
 public:
  explicit ArrayWriter(FileReplacement& file) : file_(file) { buffer_.reserve(kBuffer); }

  void write(std::span<const std::string> array) {
    buffer_.append(kBegin).append(array.empty() ? kEmptyArray : kArrayBegin);
    for (const std::string& text : array) writeString(text);
    if (!array.empty()) buffer_.append(kArrayEnd);
    buffer_.append(kEnd);
    file_.write(buffer_);
  }

 private:
  void writeString(std::string_view text) {
    buffer_.append(kStringBegin);
    do {
      const std::size_t length = pieceLength(text);
      appendXmlText(buffer_, text.substr(0, length), XmlEscaping::propertyList);
      text.remove_prefix(length);
      if (buffer_.size() >= kFlushAt) flush();
    } while (!text.empty());
    buffer_.append(kStringEnd);
  }

  void flush() {
    file_.write(buffer_);
    buffer_.clear();
  }

  FileReplacement& file_;
  std::string buffer_;
};

}  // namespace

std::optional<PropertyList::Array> PropertyListFiles::arrayWithContentsOfFile(const std::string& path) try {
  FileBytes content;
  if (const auto failure = readWholeFile(files_, path, kLargestFile, content)) {
    if (failure != std::errc::no_such_file_or_directory) problems_.cannotRead(path, failure.message());
    return std::nullopt;
  }
  std::string_view problem;
  auto array = BinaryPropertyList::recognises(content.text())
                   ? readBinaryArray(content.text(), problem)
                   : readXmlArray(content.bytes.get(), content.size, problem);
  if (!array) problems_.cannotRead(path, problem);
  return array;
} catch (const std::bad_alloc&) {
  problems_.cannotRead(path, kNoMemory);
  return std::nullopt;
}

bool PropertyListFiles::writeToFile(std::span<const std::string> array, const std::string& path, bool atomically) try {
  using Mode = FileReplacement::Mode;
  FileReplacement file(files_, path, atomically || options_.atomicSaves ? Mode::atomically : Mode::inPlace);
  ArrayWriter(file).write(array);
  const auto failure = file.commit();
  if (failure) problems_.cannotWrite(path, failure.message());
  return !failure;
} catch (const std::bad_alloc&) {
  problems_.cannotWrite(path, kNoMemory);
  return false;
}

}  // namespace sqm::platform
