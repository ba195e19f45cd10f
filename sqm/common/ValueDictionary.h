#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sqm/common/FieldNameTable.h"

namespace sqm {

/// The values of one record: a map from key to text. An empty text is a value like any other.
///
/// A dictionary made with a field-name table also finds a field's value by its number, without comparing text. All
/// values are stored in one buffer.
///
/// Ownership: views of values are valid until the dictionary changes.
/// Failure: std::bad_alloc.
class ValueDictionary {
 public:
  ValueDictionary() = default;
  explicit ValueDictionary(std::shared_ptr<const FieldNameTable> names);

  std::optional<std::string_view> find(std::string_view key) const;
  bool contains(std::string_view key) const { return find(key).has_value(); }
  std::size_t size() const;
  bool empty() const { return size() == 0; }

  /// Stores the value and replaces an earlier one. Key and value may be views of values in this dictionary.
  void set(std::string_view key, std::string_view value);
  void erase(std::string_view key);
  void clear();

  /// Calls `visit(key, value)` for every value: first those of the table's fields in ascending order of the field
  /// number, then the others in the order in which their keys were added. `visit` must not change the dictionary.
  template <typename Visit>
  void forEach(Visit&& visit) const {
    for (std::size_t field = 0; field < fields_.size(); ++field) {
      if (fields_[field].isPresent()) visit(*names_->name(static_cast<std::int64_t>(field)), text(fields_[field]));
    }
    for (const auto& [key, place] : others_) visit(std::string_view(key), text(place));
  }

  /// The functions for a field, which has a name in `names`. They need no look-up by name in a dictionary made with
  /// that table.
  std::optional<std::string_view> findField(const FieldNameTable& names, std::size_t field) const {
    if (&names != names_.get()) return find(*names.name(static_cast<std::int64_t>(field)));
    const Place& place = fields_[names.firstNamesake(field)];
    return place.isPresent() ? std::optional(text(place)) : std::nullopt;
  }
  void setField(const FieldNameTable& names, std::size_t field, std::string_view value) {
    if (&names != names_.get()) return set(*names.name(static_cast<std::int64_t>(field)), value);
    store(fields_[names.firstNamesake(field)], value);
  }

  /// The same keys and values in a dictionary made with `names`.
  ValueDictionary madeWith(std::shared_ptr<const FieldNameTable> names) &&;

  friend bool operator==(const ValueDictionary& left, const ValueDictionary& right);

 private:
  /// The position of a value in the buffer.
  struct Place {
    static constexpr std::size_t kAbsent = static_cast<std::size_t>(-1);
    std::size_t offset = 0;
    std::size_t length = kAbsent;
    bool isPresent() const { return length != kAbsent; }
  };

  std::string_view text(const Place& place) const { return {text_.data() + place.offset, place.length}; }
  /// The place of the key's value; null when the key has none. It is constant in a constant dictionary.
  template <typename Dictionary>
  static auto placeOf(Dictionary& dictionary, std::string_view key) -> decltype(dictionary.fields_.data());
  void store(Place& place, std::string_view value) { place.isPresent() ? replace(place, value) : append(place, value); }
  void append(Place& place, std::string_view value) {
    const std::size_t offset = text_.size();
    text_.append(value);
    used_ += value.size();
    place = {offset, value.size()};
  }
  void replace(Place& place, std::string_view value);
  /// Compacts the buffer when less than half of it belongs to values.
  void compactIfSparse();

  std::shared_ptr<const FieldNameTable> names_;
  std::vector<Place> fields_;
  std::vector<std::pair<std::string, Place>> others_;
  std::string text_;
  std::size_t used_ = 0;  // bytes of text_ that belong to a value
};

}  // namespace sqm
