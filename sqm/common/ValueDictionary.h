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
/// A dictionary made with a field-name table finds a field's value by its number, without comparing text; to everybody
/// else the names of the table are keys like all others. The values lie in one buffer.
///
/// Ownership: views of values are valid until the dictionary changes.
class ValueDictionary {
 public:
  ValueDictionary() = default;
  explicit ValueDictionary(std::shared_ptr<const FieldNameTable> names);

  std::optional<std::string_view> find(std::string_view key) const;
  bool contains(std::string_view key) const { return find(key).has_value(); }
  std::size_t size() const;
  bool empty() const { return size() == 0; }

  /// Stores the value, in the place of an earlier one. The value may be a view of one in this dictionary.
  void set(std::string_view key, std::string_view value);
  void erase(std::string_view key);
  void clear();

  /// Calls `visit(key, value)` for every value: those under names of the table by field number, then the others in the
  /// order in which their keys came. `visit` must not change the dictionary.
  template <typename Visit>
  void forEach(Visit&& visit) const {
    for (std::size_t field = 0; field < fields_.size(); ++field) {
      if (fields_[field].present()) visit(*names_->name(static_cast<std::int64_t>(field)), text(fields_[field]));
    }
    for (const auto& [key, place] : others_) visit(std::string_view(key), text(place));
  }

  /// By the number of a field that has a name in `names`: quick in a dictionary made with that table, by the name in
  /// any other.
  std::optional<std::string_view> findField(const FieldNameTable& names, std::size_t field) const {
    if (&names != names_.get()) return find(*names.name(static_cast<std::int64_t>(field)));
    const Place& place = fields_[names.firstNamesake(field)];
    return place.present() ? std::optional(text(place)) : std::nullopt;
  }
  void setField(const FieldNameTable& names, std::size_t field, std::string_view value) {
    if (&names != names_.get()) return set(*names.name(static_cast<std::int64_t>(field)), value);
    store(fields_[names.firstNamesake(field)], value);
  }
  void eraseField(const FieldNameTable& names, std::size_t field);

  /// This dictionary's values under their keys, in a dictionary made with `names`.
  ValueDictionary madeWith(std::shared_ptr<const FieldNameTable> names) &&;

  friend bool operator==(const ValueDictionary& left, const ValueDictionary& right);

 private:
  /// Where a value lies in the buffer.
  struct Place {
    static constexpr std::size_t kAbsent = static_cast<std::size_t>(-1);
    std::size_t offset = 0;
    std::size_t length = kAbsent;
    bool present() const { return length != kAbsent; }
  };

  std::string_view text(const Place& place) const { return {text_.data() + place.offset, place.length}; }
  /// Where the key's value has its place, if it has one; of a constant dictionary, to look at.
  template <typename Dictionary>
  static auto placeOf(Dictionary& dictionary, std::string_view key) -> decltype(dictionary.fields_.data());
  void store(Place& place, std::string_view value) { place.present() ? replace(place, value) : append(place, value); }
  void append(Place& place, std::string_view value) {
    const std::size_t offset = text_.size();
    text_.append(value);
    live_ += value.size();
    place = {offset, value.size()};
  }
  void replace(Place& place, std::string_view value);
  void remove(Place& place);
  /// Tidies a buffer up of which more than half belongs to no value any more.
  void closeManyGaps();

  std::shared_ptr<const FieldNameTable> names_;
  std::vector<Place> fields_;
  std::vector<std::pair<std::string, Place>> others_;
  std::string text_;
  std::size_t live_ = 0;  // bytes of text_ that belong to a value
};

}  // namespace sqm
