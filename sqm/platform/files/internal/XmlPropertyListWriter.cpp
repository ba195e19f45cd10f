#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <iterator>

#include "sqm/common/internal/Base64.h"
#include "sqm/common/internal/Utf8.h"
#include "sqm/platform/files/internal/PropertyListForms.h"
#include "sqm/platform/files/internal/XmlArrayLayout.h"

namespace sqm::platform {

namespace {

/// Strings of an array are escaped in pieces of this size, so that the buffer has room for each.
constexpr std::size_t kPiece = std::size_t{8} * 1024;
constexpr std::size_t kLongestEscape = 5;  // "&amp;"
constexpr std::size_t kFlushAt = std::size_t{64} * 1024;
constexpr std::size_t kTags = 64;  // around a piece
constexpr std::size_t kBuffer = kFlushAt + kLongestEscape * kPiece + kTags;

using Value = PropertyListValue;

std::string textOf(double number) {
  if (std::isnan(number)) return "nan";
  if (std::isinf(number)) return number > 0 ? "+infinity" : "-infinity";
  if (number == 0) return "0.0";
  constexpr int kDigits = 17;
  char text[32];
  const auto end = std::to_chars(std::begin(text), std::end(text), number, std::chars_format::general, kDigits).ptr;
  return {text, end};  // the same in every locale
}

std::string textOf(Value::Date date) {
  const auto time = kReferenceDate + std::chrono::seconds(static_cast<std::int64_t>(date.seconds));
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day ymd(day);
  const std::chrono::hh_mm_ss clock(time - day);
  char text[40];
  std::snprintf(text, sizeof text, "%d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(ymd.year()),
                static_cast<unsigned>(ymd.month()), static_cast<unsigned>(ymd.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

/// Writes values, each indented by its depth.
class ValueWriter {
 public:
  explicit ValueWriter(std::string& xml) : xml_(xml) {}

  void write(const Value& value) { std::visit(*this, value.content); }

  void operator()(const std::string& text) { element("string", escaped(text)); }
  void operator()(Value::Integer number) {
    element("integer", (number.isNegative ? "-" : "") + std::to_string(number.magnitude));
  }
  void operator()(double number) { element("real", textOf(number)); }
  void operator()(bool value) { line(value ? "<true/>" : "<false/>"); }
  void operator()(Value::Date date) { element("date", textOf(date)); }

  /// Lines of Base64 are indented, and the shorter the deeper they are, down to eight levels.
  void operator()(const Value::Data& data) {
    constexpr std::size_t kDeepestIndentation = 8;
    const std::size_t indentation = std::min(depth_, kDeepestIndentation);
    const std::size_t bytesOfLine = (76 - 8 * indentation) / 4 * 3;
    line("<data>");
    for (std::string_view rest = data.bytes; !rest.empty(); rest.remove_prefix(std::min(bytesOfLine, rest.size()))) {
      xml_.append(indentation, '\t').append(base64Of(rest.substr(0, bytesOfLine))).append("\n");
    }
    line("</data>");
  }
  void operator()(const Value::Array& array) {
    container("array", array, [this](const Value& element) { write(element); });
  }
  void operator()(const Value::Dictionary& dictionary) {
    container("dict", dictionary, [this](const auto& entry) {
      element("key", escaped(entry.key));
      write(entry.value);
    });
  }

 private:
  /// An empty container is one tag, unless it is the root.
  void container(const std::string& tag, const auto& elements, const auto& writeElement) {
    if (elements.empty() && depth_ > 0) return line("<" + tag + "/>");
    line("<" + tag + ">");
    ++depth_;
    for (const auto& each : elements) writeElement(each);
    --depth_;
    line("</" + tag + ">");
  }
  void element(const std::string& tag, const std::string& content) {
    line("<" + tag + ">" + content + "</" + tag + ">");
  }
  void line(const std::string& text) { xml_.append(depth_, '\t').append(text).append("\n"); }

  /// Carriage returns are written as they are.
  static std::string escaped(std::string_view text) {
    std::string escaped;
    for (;;) {
      const std::string_view piece = text.substr(0, text.find('\r'));
      appendXmlText(escaped, piece, XmlEscaping::propertyList);
      if (piece.size() == text.size()) return escaped;
      escaped.push_back('\r');
      text.remove_prefix(piece.size() + 1);
    }
  }

  std::string& xml_;
  std::size_t depth_ = 0;
};

}  // namespace

void writeXmlArray(const TextArray& array, const ByteSink& sink) {
  std::string buffer;
  buffer.reserve(kBuffer);
  const auto flush = [&] {
    sink(buffer);
    buffer.clear();
  };
  buffer.append(kXmlBegin).append(array.empty() ? kEmptyArray : kArrayBegin);
  for (const auto element : array) {
    if (!element) continue;
    std::string_view text = *element;
    buffer.append(kStringBegin);
    do {
      const std::size_t length = utf8PrefixLength(text, kPiece);
      appendXmlText(buffer, text.substr(0, length), XmlEscaping::propertyList);
      text.remove_prefix(length);
      if (buffer.size() >= kFlushAt) flush();
    } while (!text.empty());
    buffer.append(kStringEnd);
  }
  if (!array.empty()) buffer.append(kArrayEnd);
  buffer.append(kXmlEnd);
  flush();
}

std::string xmlOf(const PropertyListValue& root) {
  std::string xml(kXmlBegin);
  ValueWriter(xml).write(root);
  return xml.append(kXmlEnd);
}

}  // namespace sqm::platform
