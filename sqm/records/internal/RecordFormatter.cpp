#include "sqm/records/internal/RecordFormatter.h"

#include <cstddef>
#include <cstring>
#include <optional>
#include <utility>

#include "sqm/common/internal/CopyText.h"

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

/// Makes a text in a buffer on the stack, so that its string is allocated once unless the text is very long.
class Writer {
 public:
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the buffer is read where it has been written
  Writer() : at_(buffer_) {}
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;

  template <typename... Pieces>
  void put(const Pieces&... pieces) {
    const std::size_t length = (textOf(pieces).size() + ...);
    if (length > static_cast<std::size_t>(buffer_ + kBuffer - at_)) {
      flush();
      if (length > kBuffer) {
        (beforeBuffer_.append(textOf(pieces)), ...);
        return;
      }
    }
    char* at = at_;
    ((at = copied(at, pieces)), ...);
    at_ = at;
  }
  /// Assigns the text to `text`. Nothing is put afterwards.
  void finish(std::string& text) {
    if (beforeBuffer_.empty()) {
      text.assign(buffer_, at_);
    } else {
      flush();
      text = std::move(beforeBuffer_);
    }
  }

 private:
  static constexpr std::size_t kBuffer = 8192;
  static constexpr std::size_t kStep = TextSlots::kPadding;

  void flush() {
    beforeBuffer_.append(buffer_, at_);
    at_ = buffer_;
  }

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
  static char* copied(char* at, std::string_view text) {
    copyText(at, text);
    return at + text.size();
  }

  std::string beforeBuffer_;
  char buffer_[kBuffer + kStep];
  char* at_;
};

/// The most that a row can ask for which this value is still written.
When whenOf(const std::optional<std::string_view>& value) {
  if (!value) return When::always;
  return value->empty() ? When::present : When::notEmpty;
}

/// Writes the elements of rows.
class Formatter {
 public:
  explicit Formatter(const RecordContents& contents)
      : contents_(contents), names_(contents.names), fields_(*contents.values.fieldsOf(names_)) {}

  void format(std::string& text, Rows layout) {
    rows(layout);
    writer_.finish(text);
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
    const auto named = names_.tags(row.entry);
    const auto tags = row.fixedName == nullptr ? named : row.fixedName->tags();
    const auto value = valueOf(row);
    if (whenOf(value) < row.when) return;
    writer_.put(Padded{tags.opening}, shown(value, tags), Padded{tags.closing});
  }

  void row(const Row& row) {
    switch (row.kind) {
      case Row::Kind::value:
        break;  // in `rows`
      case Row::Kind::timeStamped: {
        const auto tags = names_.tags(row.entry);
        writer_.put(Padded{tags.opening.substr(0, tags.opening.size() - 1)}, kTimeStamp, contents_.timeStamp, '>',
                    shown(valueOf(row), tags), Padded{tags.closing});
        break;
      }
      case Row::Kind::environment:
        environment(row);
        break;
      case Row::Kind::element:
        element(row);
        break;
      case Row::Kind::markedElement:
        if (valueOf(row)) markedElement(row);
        break;
      case Row::Kind::section:
        rows(row.rows);
        break;
    }
  }

  void environment(const Row& row) {
    const auto value = environmentValue(row);
    if (!value) return;
    if (const Row* const unopened = std::exchange(unopened_, nullptr)) writer_.put(Padded{tagsOf(*unopened).opening});
    const auto tags = tagsOf(row);
    escaped_.clear();
    contents_.utilities.appendXmlCompatible(escaped_, *value);
    writer_.put(Padded{tags.opening}, std::string_view(escaped_), Padded{tags.closing});
  }

  void element(const Row& row) {
    const auto tags = tagsOf(row);
    writer_.put(Padded{tags.opening});
    rows(row.rows);
    writer_.put(Padded{tags.closing});
  }

  void markedElement(const Row& row) {
    unopened_ = &row;
    rows(row.rows);
    if (std::exchange(unopened_, nullptr) == nullptr) writer_.put(Padded{tagsOf(row).closing});
  }

  FieldNameTable::Tags tagsOf(const Row& row) const {
    return row.fixedName == nullptr ? names_.tags(row.entry) : row.fixedName->tags();
  }

  static Padded shown(const std::optional<std::string_view>& value, const FieldNameTable::Tags& tags) {
    return {value.value_or(tags.closing.substr(0, 0))};
  }

  std::optional<std::string_view> valueOf(const Row& row) const { return fields_[names_.firstNamesake(row.entry)]; }

  std::optional<std::string_view> environmentValue(const Row& row) const {
    return contents_.values.find(row.fixedName->name());
  }

  Writer writer_;
  std::string escaped_;
  const RecordContents& contents_;
  const FieldNameTable& names_;
  const TextSlots& fields_;
  const Row* unopened_ = nullptr;  // the marked element whose opening tag is written with the first of its rows
};

}  // namespace

void formatRows(std::string& text, Rows rows, const RecordContents& contents) {
  Formatter(contents).format(text, rows);
}

}  // namespace sqm
