#include "sqm/records/internal/RecordFormatter.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>

namespace sqm {

namespace {

constexpr std::string_view kTimeStamp = " timestamp=";

/// A text behind which `TextSlots::kPadding` more bytes may be read.
struct Padded {
  std::string_view text;
};

std::string_view textOf(const char& character) { return {&character, 1}; }
std::string_view textOf(std::string_view text) { return text; }
std::string_view textOf(Padded padded) { return padded.text; }

/// Appends to a string by way of a buffer on the stack, so that the string grows once unless the text is very long.
class Writer {
 public:
  explicit Writer(std::string& out) : out_(out) {}
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  template <typename... Pieces>
  void put(const Pieces&... pieces) {
    const std::size_t length = (textOf(pieces).size() + ...);
    if (length > static_cast<std::size_t>(buffer_ + kBuffer - at_)) {
      flush();
      if (length > kBuffer) {
        (out_.append(textOf(pieces)), ...);
        return;
      }
    }
    char* at = at_;
    ((at = copied(at, pieces)), ...);
    at_ = at;
  }
  void putXmlSafe(std::string_view value, const UtilityFunctions& utilities) {
    escaped_.clear();
    utilities.appendXmlCompatible(escaped_, value);
    put(std::string_view(escaped_));
  }
  void flush() {
    out_.append(buffer_, static_cast<std::size_t>(at_ - buffer_));
    at_ = buffer_;
  }

 private:
  static constexpr std::size_t kBuffer = 8192;
  static constexpr std::size_t kStep = TextSlots::kPadding;

  /// Copies in steps that read and write beyond the end.
  static char* copied(char* at, Padded padded) {
    const char* from = padded.text.data();
    const std::size_t length = padded.text.size();
    std::memcpy(at, from, kStep);
    for (std::size_t done = kStep; done < length; done += kStep) std::memcpy(at + done, from + done, kStep);
    return at + length;
  }
  static char* copied(char* at, char character) {
    *at = character;
    return at + 1;
  }
  static char* copied(char* at, std::string_view text) { return at + text.copy(at, text.size()); }

  std::string& out_;
  std::string escaped_;
  char buffer_[kBuffer + kStep];
  char* at_ = buffer_;
};

/// Writes the elements of rows.
class Formatter {
 public:
  Formatter(std::string& out, const RecordContents& contents)
      : writer_(out),
        contents_(contents),
        fields_(contents.values == nullptr ? nullptr : contents.values->fieldsOf(*contents.names)) {}

  void format(Rows layout) {
    rows(layout);
    writer_.flush();
  }

 private:
  void rows(Rows rows) {
    for (const Row& each : rows) {
      if (each.kind == Row::Kind::value) {
        value(each);  // nearly all rows: in the loop, without a call
      } else {
        row(each);
      }
    }
  }

  void value(const Row& row) {
    const auto tags = contents_.names->tags(row.entry);
    const auto value = valueOf(row);
    if (!isWritten(row, value)) return;
    if (row.fixedName.empty()) {
      writer_.put(Padded{tags.opening}, shown(value, tags), Padded{tags.closing});
    } else {
      wrap(row, [&] { writer_.put(shown(value, tags)); });
    }
  }

  void row(const Row& row) {
    switch (row.kind) {
      case Row::Kind::value:
        break;  // in `rows`
      case Row::Kind::timeStamped: {
        const auto tags = contents_.names->tags(row.entry);
        writer_.put(Padded{tags.opening.substr(0, tags.opening.size() - 1)}, kTimeStamp, contents_.timeStamp, '>',
                    shown(valueOf(row), tags), Padded{tags.closing});
        break;
      }
      case Row::Kind::environment:
        if (const auto value = environmentValue(row)) {
          wrap(row, [&] { writer_.putXmlSafe(*value, *contents_.utilities); });
        }
        break;
      case Row::Kind::element:
        wrap(row, [&] { rows(row.rows); });
        break;
      case Row::Kind::markedElement:
        if (valueOf(row) && anyEnvironment(row.rows)) wrap(row, [&] { rows(row.rows); });
        break;
      case Row::Kind::section:
        rows(row.rows);
        break;
    }
  }

  template <typename PutInner>
  void wrap(const Row& row, PutInner putInner) {
    if (row.fixedName.empty()) {
      const auto tags = contents_.names->tags(row.entry);
      writer_.put(Padded{tags.opening});
      putInner();
      writer_.put(Padded{tags.closing});
    } else {
      writer_.put('<', row.fixedName, '>');
      putInner();
      writer_.put('<', '/', row.fixedName, '>');
    }
  }

  static Padded shown(const std::optional<std::string_view>& value, const FieldNameTable::Tags& tags) {
    return {value.value_or(tags.closing.substr(0, 0))};
  }

  std::optional<std::string_view> valueOf(const Row& row) const {
    return fields_ == nullptr ? std::nullopt : (*fields_)[contents_.names->firstNamesake(row.entry)];
  }

  std::optional<std::string_view> environmentValue(const Row& row) const {
    return contents_.values == nullptr ? std::nullopt : contents_.values->find(row.fixedName);
  }

  bool anyEnvironment(Rows inner) const {
    return std::any_of(inner.begin(), inner.end(), [&](const Row& each) { return environmentValue(each).has_value(); });
  }

  static bool isWritten(const Row& row, const std::optional<std::string_view>& value) {
    switch (row.when) {
      case When::always:
        return true;
      case When::present:
        return value.has_value();
      case When::notEmpty:
        return value.has_value() && !value->empty();
    }
    return false;
  }

  Writer writer_;
  const RecordContents& contents_;
  const TextSlots* fields_;
};

}  // namespace

void appendRows(std::string& out, Rows rows, const RecordContents& contents) { Formatter(out, contents).format(rows); }

}  // namespace sqm
