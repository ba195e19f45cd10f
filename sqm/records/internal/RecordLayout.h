#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

#include "sqm/common/FieldNameTable.h"
#include "sqm/common/TextSlots.h"

namespace sqm {

/// When a row of a layout is written.
enum class When : std::uint8_t {
  always,   ///< an absent value gives an empty element
  present,  ///< a value is stored, the empty text included
  notEmpty  ///< a value is stored, and it is not the empty text
};

/// The name of an element that no field-name table changes, and the element's tags. Behind each tag there are
/// `TextSlots::kPadding` more bytes that may be read.
class FixedName {
 public:
  /// `name`: of at most 15 bytes.
  explicit consteval FixedName(std::string_view name) : length_(name.size()) {
    char* at = text_;
    for (const std::string_view piece : {std::string_view("<"), name, std::string_view("></"), name}) {
      at = std::copy(piece.begin(), piece.end(), at);
    }
    *at = '>';
  }

  constexpr std::string_view name() const { return {text_ + 1, length_}; }
  constexpr FieldNameTable::Tags tags() const { return {text_, length_}; }

 private:
  static constexpr std::size_t kLongestElement = 2 * 15 + 5;

  std::size_t length_;
  char text_[kLongestElement + TextSlots::kPadding] = {};
};

/// One line of a record's layout. Rows are made by the functions below. The element has the name of the field-name
/// entry, or the fixed name where there is one.
struct Row {
  enum class Kind : std::uint8_t {
    value,          ///< an element around the entry's value
    timeStamped,    ///< the same, with the client time stamp as the attribute `timestamp`
    environment,    ///< an element around the value stored under the fixed name, made XML-safe when it is written
    element,        ///< an element around rows
    markedElement,  ///< an element around environments, where the entry has a value (of any text) and one of them has
    section         ///< rows, without an element around them
  };

  Kind kind;
  When when = When::always;
  std::uint8_t entry = 0;
  const FixedName* fixedName = nullptr;
  std::span<const Row> rows = {};
};

using Rows = std::span<const Row>;

constexpr Row always(std::uint8_t entry) { return {Row::Kind::value, When::always, entry}; }
constexpr Row present(std::uint8_t entry) { return {Row::Kind::value, When::present, entry}; }
constexpr Row notEmpty(std::uint8_t entry) { return {Row::Kind::value, When::notEmpty, entry}; }
constexpr Row alwaysNamed(const FixedName& name, std::uint8_t entry) {
  return {Row::Kind::value, When::always, entry, &name};
}
constexpr Row timeStamped(std::uint8_t entry) { return {Row::Kind::timeStamped, When::always, entry}; }
constexpr Row environment(const FixedName& key) { return {Row::Kind::environment, When::present, 0, &key}; }
constexpr Row element(std::uint8_t entry, Rows rows) {
  return {Row::Kind::element, When::always, entry, nullptr, rows};
}
constexpr Row element(const FixedName& name, Rows rows) { return {Row::Kind::element, When::always, 0, &name, rows}; }
constexpr Row markedElement(std::uint8_t entry, Rows rows) {
  return {Row::Kind::markedElement, When::present, entry, nullptr, rows};
}
constexpr Row section(Rows rows) { return {Row::Kind::section, When::always, 0, {}, rows}; }

/// One bit for each field-name entry.
using Entries = std::array<bool, FieldNameTable::kFields>;

constexpr bool isEnvironment(const Row& row) { return row.kind == Row::Kind::environment; }

/// True when every row names an entry from 0 to 90, marked elements hold nothing but environments, and no value is
/// written twice or is in `written`, to which they are added.
constexpr bool isSound(Rows rows, Entries& written) {
  for (const Row& row : rows) {
    if (row.entry >= written.size() || !isSound(row.rows, written)) return false;
    if (isEnvironment(row) && row.fixedName->name().empty()) return false;
    if (row.kind == Row::Kind::markedElement && !std::all_of(row.rows.begin(), row.rows.end(), isEnvironment)) {
      return false;
    }
    const bool isValue = row.kind == Row::Kind::value || row.kind == Row::Kind::timeStamped;
    if (isValue && std::exchange(written[row.entry], true)) return false;
  }
  return true;
}
constexpr bool isSound(Rows rows) {
  Entries written{};
  return isSound(rows, written);
}

}  // namespace sqm
