#include "sqm/platform/files/internal/XmlPropertyListWriter.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <utility>

#include "sqm/common/internal/Base64.h"
#include "sqm/common/internal/Utf8.h"
#include "sqm/common/internal/XmlText.h"

namespace sqm::platform {

namespace {

// The texts of the file format: not to change.
constexpr std::string_view kBegin =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kEnd = "</plist>\n";

/// Content is encoded in pieces of this size, so that the buffer has room for each. Whole groups of Base64.
constexpr std::size_t kPiece = std::size_t{8} * 1024 / 3 * 3;
constexpr std::size_t kLongestEscape = 5;  // "&amp;"
constexpr std::size_t kFlushAt = std::size_t{64} * 1024;
constexpr std::size_t kTags = 128;  // the tags and the indentation around a piece
constexpr std::size_t kBuffer = kFlushAt + kLongestEscape * kPiece + kTags;

}  // namespace

XmlPropertyListWriter::XmlPropertyListWriter(ByteSink sink) : sink_(std::move(sink)) {
  buffer_.reserve(kBuffer);
  buffer_.append(kBegin);
}

void XmlPropertyListWriter::text(std::string_view text) { escaped("<string>", text, "</string>\n"); }

void XmlPropertyListWriter::key(std::string_view key) { escaped("<key>", key, "</key>\n"); }

void XmlPropertyListWriter::data(std::string_view bytes) {
  buffer_.append(indentation_).append("<data>");
  for (; !bytes.empty(); bytes.remove_prefix(std::min(kPiece, bytes.size()))) {
    buffer_.append(base64Of(bytes.substr(0, kPiece)));
    flushFrom(kFlushAt);
  }
  buffer_.append("</data>\n");
}

void XmlPropertyListWriter::integer(PropertyListValue::Integer number) {
  element("<integer>", (number.isNegative ? "-" : "") + std::to_string(number.magnitude), "</integer>\n");
}

void XmlPropertyListWriter::real(double number) {
  char digits[32];
  const auto result = std::to_chars(std::begin(digits), std::end(digits), number);  // the same in every locale
  element("<real>", {digits, result.ptr}, "</real>\n");
}

void XmlPropertyListWriter::boolean(bool value) { element(value ? "<true/>\n" : "<false/>\n", {}, {}); }

void XmlPropertyListWriter::date(PropertyListValue::Date date) { element("<date>", date.text(), "</date>\n"); }

void XmlPropertyListWriter::end() {
  const std::string_view tag = open_.back();
  open_.pop_back();
  if (tag.empty()) return;
  indentation_.pop_back();
  element("</", tag, ">\n");
}

void XmlPropertyListWriter::finish() {
  buffer_.append(kEnd);
  flushFrom(0);
}

void XmlPropertyListWriter::begin(std::string_view tag, std::size_t count) {
  element("<", tag, count == 0 ? "/>\n" : ">\n");
  open_.push_back(count == 0 ? std::string_view() : tag);
  if (count > 0) indentation_.push_back('\t');
}

void XmlPropertyListWriter::element(std::string_view begin, std::string_view content, std::string_view end) {
  buffer_.append(indentation_).append(begin).append(content).append(end);
  flushFrom(kFlushAt);
}

void XmlPropertyListWriter::escaped(std::string_view begin, std::string_view text, std::string_view end) {
  buffer_.append(indentation_).append(begin);
  do {
    const std::size_t length = utf8PrefixLength(text, kPiece);
    appendXmlText(buffer_, text.substr(0, length), XmlEscaping::propertyList);
    text.remove_prefix(length);
    flushFrom(kFlushAt);
  } while (!text.empty());
  buffer_.append(end);
}

void XmlPropertyListWriter::flushFrom(std::size_t size) {
  if (buffer_.size() < size) return;
  sink_(buffer_);
  buffer_.clear();
}

}  // namespace sqm::platform
