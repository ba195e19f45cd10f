#include "sqm/records/RecordFormatter.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <optional>

namespace sqm {

namespace {

constexpr std::string_view kMissingName = "(null)";

/// Adds up how long a text will be. A text that is escaped on the way counts as it is.
class Measure {
 public:
  void text(std::string_view piece) { length_ += piece.size(); }
  void escaped(std::string_view piece, const UtilityFunctions& /*utilities*/) { length_ += piece.size(); }
  std::size_t length() const { return length_; }

 private:
  std::size_t length_ = 0;
};

/// Writes pieces to the end of a string, which has been made long enough for nearly all of them beforehand.
class Writer {
 public:
  Writer(std::string& out, std::size_t expected) : out_(out), used_(out.size()) { out_.resize(used_ + expected); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  ~Writer() { out_.resize(used_); }

  void text(std::string_view piece) {
    if (piece.empty()) return;
    if (out_.size() - used_ < piece.size()) out_.resize(std::max(2 * out_.size(), used_ + piece.size()));
    std::memcpy(out_.data() + used_, piece.data(), piece.size());
    used_ += piece.size();
  }

  void escaped(std::string_view piece, const UtilityFunctions& utilities) {
    const std::size_t room = out_.size();
    out_.resize(used_);
    utilities.appendXmlCompatible(out_, piece);
    used_ = out_.size();
    out_.resize(std::max(room, used_));
  }

 private:
  std::string& out_;
  std::size_t used_;
};

/// Walks rows, and hands their text to a sink piece by piece.
template <typename Sink>
class Walk {
 public:
  Walk(Sink& sink, const RecordContents& contents) : sink_(sink), contents_(contents) {}

  void rows(Rows rows) {
    for (const Row& each : rows) row(each);
  }

 private:
  void row(const Row& row) {
    switch (row.kind) {
      case Row::Kind::value:
        if (const auto value = valueOf(row); isWritten(row, value)) wrapped(nameOf(row), value.value_or(""));
        break;
      case Row::Kind::timeStamped: {
        const std::string_view name = nameOf(row);
        pieces("<", name, " timestamp=", contents_.timeStamp, ">", valueOf(row).value_or(""));
        pieces("</", name, ">");
        break;
      }
      case Row::Kind::environment:
        if (const auto value = environmentValue(row)) {
          pieces("<", row.fixedName, ">");
          sink_.escaped(*value, *contents_.utilities);
          pieces("</", row.fixedName, ">");
        }
        break;
      case Row::Kind::element: wrap(nameOf(row), row.rows); break;
      case Row::Kind::markedElement:
        if (valueOf(row) && anyEnvironment(row.rows)) wrap(nameOf(row), row.rows);
        break;
      case Row::Kind::section: rows(row.rows); break;
    }
  }

  template <typename... Pieces>
  void pieces(Pieces... each) {
    (sink_.text(each), ...);
  }

  void wrapped(std::string_view name, std::string_view value) { pieces("<", name, ">", value, "</", name, ">"); }

  void wrap(std::string_view name, Rows inner) {
    pieces("<", name, ">");
    rows(inner);
    pieces("</", name, ">");
  }

  std::optional<std::string_view> nameOfEntry(const Row& row) const {
    return contents_.names == nullptr ? std::nullopt : contents_.names->name(row.entry);
  }

  std::string_view nameOf(const Row& row) const {
    return row.fixedName.empty() ? nameOfEntry(row).value_or(kMissingName) : row.fixedName;
  }

  std::optional<std::string_view> valueOf(const Row& row) const {
    if (!nameOfEntry(row) || contents_.values == nullptr) return std::nullopt;
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
      case When::always: return true;
      case When::present: return value.has_value();
      case When::notEmpty: return value.has_value() && !value->empty();
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
