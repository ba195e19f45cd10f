#include "sqm/common/ValueDictionary.h"

#include <algorithm>
#include <cstring>

namespace sqm {

namespace {

/// A buffer below this size is not worth tidying up.
constexpr std::size_t kSmallBuffer = 4096;

}  // namespace

ValueDictionary::ValueDictionary(std::shared_ptr<const FieldNameTable> names)
    : names_(std::move(names)), fields_(names_ ? FieldNameTable::kFields : 0) {}

std::optional<std::string_view> ValueDictionary::find(std::string_view key) const {
  const Place* place = const_cast<ValueDictionary*>(this)->placeOf(key);
  if (place == nullptr || !place->present()) return std::nullopt;
  return text(*place);
}

std::size_t ValueDictionary::size() const {
  const auto present =
      std::count_if(fields_.begin(), fields_.end(), [](const Place& place) { return place.present(); });
  return static_cast<std::size_t>(present) + others_.size();
}

void ValueDictionary::set(std::string_view key, std::string_view value) {
  Place* place = placeOf(key);
  if (place == nullptr) place = &others_.emplace_back(key, Place{0, 0}).second;  // empty, should the text not fit in memory
  store(*place, value);
}

void ValueDictionary::erase(std::string_view key) {
  Place* place = placeOf(key);
  if (place == nullptr || !place->present()) return;
  live_ -= place->length;
  *place = Place{};
  std::erase_if(others_, [](const auto& other) { return !other.second.present(); });
}

void ValueDictionary::clear() {
  std::fill(fields_.begin(), fields_.end(), Place{});
  others_.clear();
  text_.clear();
  live_ = 0;
}

void ValueDictionary::setField(const FieldNameTable& names, std::size_t field, std::string_view value) {
  if (&names != names_.get()) return set(*names.name(static_cast<std::int64_t>(field)), value);
  store(fields_[names.firstNamesake(field)], value);
}

void ValueDictionary::eraseField(const FieldNameTable& names, std::size_t field) {
  if (&names != names_.get()) return erase(*names.name(static_cast<std::int64_t>(field)));
  Place& place = fields_[names.firstNamesake(field)];
  if (place.present()) live_ -= place.length;
  place = Place{};
}

ValueDictionary ValueDictionary::madeWith(std::shared_ptr<const FieldNameTable> names) && {
  if (names == names_) return std::move(*this);
  ValueDictionary made(std::move(names));
  forEach([&](std::string_view key, std::string_view value) { made.set(key, value); });
  return made;
}

bool operator==(const ValueDictionary& left, const ValueDictionary& right) {
  if (left.size() != right.size()) return false;
  bool equal = true;
  left.forEach([&](std::string_view key, std::string_view value) { equal = equal && right.find(key) == value; });
  return equal;
}

ValueDictionary::Place* ValueDictionary::placeOf(std::string_view key) {
  if (names_) {
    if (const auto field = names_->fieldNamed(key)) return &fields_[*field];
  }
  const auto other = std::find_if(others_.begin(), others_.end(), [&](const auto& each) { return each.first == key; });
  return other == others_.end() ? nullptr : &other->second;
}

void ValueDictionary::replace(Place& place, std::string_view value) {
  live_ -= place.length;
  if (value.size() <= place.length) {
    if (!value.empty()) std::memmove(text_.data() + place.offset, value.data(), value.size());
    place.length = value.size();
    live_ += value.size();
    return;
  }
  append(place, value);
  if (text_.size() > kSmallBuffer && live_ < text_.size() / 2) closeGaps();
}

void ValueDictionary::closeGaps() {
  std::string tidy;
  tidy.reserve(live_);
  const auto move = [&](Place& place) {
    if (!place.present()) return;
    const std::size_t offset = tidy.size();
    tidy.append(text(place));
    place.offset = offset;
  };
  for (Place& place : fields_) move(place);
  for (auto& [key, place] : others_) move(place);
  text_ = std::move(tidy);
}

}  // namespace sqm
