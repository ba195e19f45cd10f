#include "sqm/records/internal/RecordFormatter.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>

#include "sqm/common/Format.h"

namespace sqm {

namespace {

constexpr std::string_view kTimeStamp = " timestamp=";

std::size_t sizeOf(char /*character*/) { return 1; }
std::size_t sizeOf(std::string_view text) { return text.size(); }

/// Adds up the length of a text. A value that is made XML-safe while it is written counts with its stored length.
class Measure {
 public:
  template <typename... Pieces>
  void put(Pieces... pieces) {
    length_ += (sizeOf(pieces) + ...);
  }
  void putXmlSafe(std::string_view value, const UtilityFunctions& /*utilities*/) { length_ += value.size(); }
  std::size_t length() const { return length_; }

 private:
  std::size_t length_ = 0;
};

/// Appends to a string, which it enlarges once by the length expected: nearly always that suffices.
class Writer {
 public:
  Writer(std::string& out, std::size_t expected) : out_(out), used_(out.size()) { out_.resize(used_ + expected); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() { out_.resize(used_); }

  template <typename... Pieces>
  void put(Pieces... pieces) {
    const std::size_t length = (sizeOf(pieces) + ...);
    if (out_.size() - used_ < length) out_.resize(std::max(2 * out_.size(), used_ + length));
    char* at = out_.data() + used_;
    ((at = copied(at, pieces)), ...);
    used_ += length;
  }
  void putXmlSafe(std::string_view value, const UtilityFunctions& utilities) {
    const std::size_t room = out_.size();
    out_.resize(used_);
    utilities.appendXmlCompatible(out_, value);
    used_ = out_.size();
    out_.resize(std::max(room, used_));
  }

 private:
  static char* copied(char* at, char character) {
    *at = character;
    return at + 1;
  }
  static char* copied(char* at, std::string_view text) {
    if (!text.empty()) std::memcpy(at, text.data(), text.size());
    return at + text.size();
  }

  std::string& out_;
  std::size_t used_;
};

/// Walks rows, and passes the pieces of their elements, texts and single characters, to a sink.
template <typename Sink>
class Walk {
 public:
  Walk(Sink& sink, const RecordContents& contents) : sink_(sink), contents_(contents) {}

  void rows(Rows rows) {
    for (const Row& each : rows) {
      if (each.kind == Row::Kind::value) {
        value(each);  // nearly all rows: in the loop, without a call
      } else {
        row(each);
      }
    }
  }

 private:
  void value(const Row& row) {
    const auto name = nameOfEntry(row);
    const auto value = valueOf(row, name);
    const std::string_view shown = shownName(row, name);
    if (isWritten(row, value)) sink_.put('<', shown, '>', value.value_or(std::string_view{}), '<', '/', shown, '>');
  }

  void row(const Row& row) {
    switch (row.kind) {
      case Row::Kind::value:
        value(row);
        break;
      case Row::Kind::timeStamped: {
        const auto name = nameOfEntry(row);
        const std::string_view shown = shownName(row, name);
        sink_.put('<', shown, kTimeStamp, contents_.timeStamp, '>', valueOf(row, name).value_or(std::string_view{}));
        sink_.put('<', '/', shown, '>');
        break;
      }
      case Row::Kind::environment:
        if (const auto value = environmentValue(row)) {
          wrap(row.fixedName, [&] { sink_.putXmlSafe(*value, *contents_.utilities); });
        }
        break;
      case Row::Kind::element:
        wrap(shownName(row, nameOfEntry(row)), [&] { rows(row.rows); });
        break;
      case Row::Kind::markedElement: {
        const auto name = nameOfEntry(row);
        if (valueOf(row, name) && anyEnvironment(row.rows)) wrap(shownName(row, name), [&] { rows(row.rows); });
        break;
      }
      case Row::Kind::section:
        rows(row.rows);
        break;
    }
  }

  template <typename PutInner>
  void wrap(std::string_view name, PutInner putInner) {
    sink_.put('<', name, '>');
    putInner();
    sink_.put('<', '/', name, '>');
  }

  std::optional<std::string_view> nameOfEntry(const Row& row) const {
    return contents_.names == nullptr ? std::nullopt : contents_.names->name(row.entry);
  }

  static std::string_view shownName(const Row& row, const std::optional<std::string_view>& nameOfEntry) {
    return row.fixedName.empty() ? nameOfEntry.value_or(kNullText) : row.fixedName;
  }

  std::optional<std::string_view> valueOf(const Row& row, const std::optional<std::string_view>& nameOfEntry) const {
    if (!nameOfEntry || contents_.values == nullptr) return std::nullopt;
    return contents_.values->findField(*contents_.names, row.entry);
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

  Sink& sink_;
  const RecordContents& contents_;
};

}  // namespace

void appendRows(std::string& out, Rows rows, const RecordContents& contents) {
  Measure measure;
  Walk(measure, contents).rows(rows);
  Writer writer(out, measure.length());
  Walk(writer, contents).rows(rows);
}

}  // namespace sqm
