#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sqm/common/FieldNameTable.h"
#include "sqm/common/TextSlots.h"

namespace sqm {

/// The values of one record: a map from key to text. An empty text is a value like any other.
///
/// A dictionary made with a field-name table also finds a field's value by its number, without comparing text.
///
/// Ownership: views of values are valid until the dictionary changes.
/// Failure: std::bad_alloc.
class ValueDictionary {
 public:
  ValueDictionary() = default;
  explicit ValueDictionary(std::shared_ptr<const FieldNameTable> names) : names_(std::move(names)) {}

  std::optional<std::string_view> find(std::string_view key) const;
  bool contains(std::string_view key) const { return find(key).has_value(); }
  std::size_t size() const { return fields_.size() + others_.size(); }
  bool empty() const { return size() == 0; }

  /// Stores the value and replaces an earlier one. Key and value may be views of values in this dictionary.
  void set(std::string_view key, std::string_view value);

  void erase(std::string_view key);
  void clear();

  /// Calls `visit(key, value)` for every value: first those of the table's fields in ascending order of the field
  /// number, then the others in the order in which their keys were added. `visit` must not change the dictionary.
  template <typename Visit>
  void forEach(Visit&& visit) const {
    for (std::size_t field = 0; field < FieldNameTable::kFields; ++field) {
      if (const auto value = fields_[field]) visit(*names_->name(static_cast<std::int64_t>(field)), *value);
    }
    for (const auto& [key, value] : others_) visit(std::string_view(key), std::string_view(value));
  }

  /// The functions for a field, which has a name in `names`. They need no look-up by name in a dictionary made with
  /// that table.
  std::optional<std::string_view> findField(const FieldNameTable& names, std::size_t field) const {
    if (&names != names_.get()) return find(*names.name(static_cast<std::int64_t>(field)));
    return fields_[names.firstNamesake(field)];
  }
  void setField(const FieldNameTable& names, std::size_t field, std::string_view value) {
    if (&names == names_.get()) return fields_.set(names.firstNamesake(field), value);
    set(*names.name(static_cast<std::int64_t>(field)), value);
  }

  /// The values of the fields of `names`, each under its first namesake's number; null in a dictionary that was not
  /// made with that table.
  const TextSlots* fieldsOf(const FieldNameTable& names) const { return &names == names_.get() ? &fields_ : nullptr; }

  /// The same keys and values in a dictionary made with `names`.
  ValueDictionary madeWith(std::shared_ptr<const FieldNameTable> names) &&;

  friend bool operator==(const ValueDictionary& left, const ValueDictionary& right);

 private:
  using Others = std::vector<std::pair<std::string, std::string>>;

  std::optional<std::size_t> fieldNamed(std::string_view key) const {
    return names_ ? names_->fieldNamed(key) : std::nullopt;
  }

  std::shared_ptr<const FieldNameTable> names_;
  TextSlots fields_;
  Others others_;
};

}  // namespace sqm
