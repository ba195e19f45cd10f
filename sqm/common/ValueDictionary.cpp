#include "sqm/common/ValueDictionary.h"

#include <algorithm>
#include <cstring>

namespace sqm {

namespace {

/// A buffer of at most this size is never compacted, in bytes.
constexpr std::size_t kSmallBuffer = 4096;

}  // namespace

ValueDictionary::ValueDictionary(std::shared_ptr<const FieldNameTable> names)
    : names_(std::move(names)), fields_(names_ ? FieldNameTable::kFields : 0) {}

template <typename Dictionary>
auto ValueDictionary::placeOf(Dictionary& dictionary, std::string_view key) -> decltype(dictionary.fields_.data()) {
  // The other keys first: they are few, and comparing them is faster than hashing the key.
  auto& others = dictionary.others_;
  const auto other = std::find_if(others.begin(), others.end(), [&](const auto& each) { return each.first == key; });
  if (other != others.end()) return &other->second;
  const auto field = dictionary.names_ ? dictionary.names_->fieldNamed(key) : std::nullopt;
  return field ? &dictionary.fields_[*field] : nullptr;
}

std::optional<std::string_view> ValueDictionary::find(std::string_view key) const {
  const Place* place = placeOf(*this, key);
  if (place == nullptr || !place->isPresent()) return std::nullopt;
  return text(*place);
}

std::size_t ValueDictionary::size() const {
  const auto present =
      std::count_if(fields_.begin(), fields_.end(), [](const Place& place) { return place.isPresent(); });
  return static_cast<std::size_t>(present) + others_.size();
}

void ValueDictionary::set(std::string_view key, std::string_view value) {
  Place* place = placeOf(*this, key);
  if (place == nullptr) place = &others_.emplace_back(key, Place{0, 0}).second;  // valid, if `store` throws
  store(*place, value);
}

void ValueDictionary::erase(std::string_view key) {
  Place* place = placeOf(*this, key);
  if (place == nullptr || !place->isPresent()) return;
  used_ -= place->length;
  *place = Place{};
  std::erase_if(others_, [](const auto& other) { return !other.second.isPresent(); });
  compactIfSparse();
}

void ValueDictionary::clear() {
  std::fill(fields_.begin(), fields_.end(), Place{});
  others_.clear();
  text_.clear();
  used_ = 0;
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

void ValueDictionary::replace(Place& place, std::string_view value) {
  const std::size_t earlier = place.length;
  if (value.size() <= earlier) {
    if (!value.empty()) std::memmove(text_.data() + place.offset, value.data(), value.size());
    place.length = value.size();
    used_ -= earlier - value.size();
    return;
  }
  append(place, value);
  used_ -= earlier;
  compactIfSparse();
}

void ValueDictionary::compactIfSparse() {
  if (text_.size() <= kSmallBuffer || used_ >= text_.size() / 2) return;
  std::string compact;
  compact.reserve(used_);
  const auto move = [&](Place& place) {
    if (!place.isPresent()) return;
    const std::size_t offset = compact.size();
    compact.append(text(place));
    place.offset = offset;
  };
  for (Place& place : fields_) move(place);
  for (auto& [key, place] : others_) move(place);
  text_ = std::move(compact);
}

}  // namespace sqm
