#include "sqm/common/ValueDictionary.h"

#include <cstddef>
#include <cstdint>

#include "sqm/common/internal/TextScan.h"

namespace sqm {

static_assert(FieldNameTable::kFields <= TextSlots::kSlots);

namespace {

/// True when the first words of two texts of one length are equal, and their last ones, which overlap them.
template <typename Word>
bool haveEqualWords(std::string_view left, std::string_view right) {
  const std::size_t last = left.size() - sizeof(Word);
  return ((wordAt<Word>(left.data()) ^ wordAt<Word>(right.data())) |
          (wordAt<Word>(left.data() + last) ^ wordAt<Word>(right.data() + last))) == 0;
}

/// Most keys are short: their words are compared faster than by a call of `memcmp`.
bool areEqual(std::string_view left, std::string_view right) {
  const std::size_t size = left.size();
  if (size != right.size()) return false;
  if (size >= 8 && size <= 16) return haveEqualWords<std::uint64_t>(left, right);
  if (size >= 4 && size < 8) return haveEqualWords<std::uint32_t>(left, right);
  return left == right;
}

/// The other keys are few: comparing them is faster than hashing the key, so that they are searched first.
template <typename Others>
auto otherNamed(Others& others, std::string_view key) {
  auto other = others.begin();
  while (other != others.end() && !areEqual(other->first, key)) ++other;
  return other;
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
