#include "sqm/common/ValueDictionary.h"

#include <algorithm>

namespace sqm {

static_assert(FieldNameTable::kFields <= TextSlots::kSlots);

namespace {

/// The other keys are few: comparing them is faster than hashing the key, so that they are searched first.
template <typename Others>
auto otherNamed(Others& others, std::string_view key) {
  return std::find_if(others.begin(), others.end(), [&](const auto& other) { return other.first == key; });
}

}  // namespace

std::optional<std::string_view> ValueDictionary::find(std::string_view key) const {
  const auto other = otherNamed(others_, key);
  if (other != others_.end()) return other->second;
  const auto field = fieldNamed(key);
  return field ? fields_[*field] : std::nullopt;
}

void ValueDictionary::set(std::string_view key, std::string_view value) {
  const auto other = otherNamed(others_, key);
  if (other != others_.end()) {
    other->second = value;
  } else if (const auto field = fieldNamed(key)) {
    fields_.set(*field, value);
  } else {
    others_.emplace_back(key, value);
  }
}

void ValueDictionary::erase(std::string_view key) {
  const auto other = otherNamed(others_, key);
  if (other != others_.end()) {
    others_.erase(other);
  } else if (const auto field = fieldNamed(key)) {
    fields_.erase(*field);
  }
}

void ValueDictionary::clear() {
  fields_.clear();
  others_.clear();
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

}  // namespace sqm
