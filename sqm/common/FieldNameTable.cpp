#include "sqm/common/FieldNameTable.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "sqm/common/Format.h"
#include "sqm/common/TextSlots.h"

namespace sqm {

namespace {

constexpr std::uint8_t kFree = FieldNameTable::kFields;

/// One bit for each length; names of 63 bytes and more share one.
std::uint64_t lengthBit(std::string_view name) {
  constexpr std::size_t kLongest = 63;
  return std::uint64_t{1} << std::min(name.size(), kLongest);
}

}  // namespace

FieldNameTable::FieldNameTable(const TextArray& names) : count_(std::min(names.size(), kFields)) {
  for (std::size_t field = 0; field < count_; ++field) {
    const std::string_view shown = names[field].value_or(kNullText);
    entries_[field].begin = text_.size();
    entries_[field].length = shown.size();
    text_.append("<").append(shown).append("></").append(shown).append(">");
  }
  text_.append(TextSlots::kPadding, '\0');
  buckets_.fill(kFree);
  for (std::size_t field = 0; field < count_; ++field) {
    const auto name = names[field];
    if (!name) continue;
    std::uint8_t& bucket = buckets_[bucketFor(*name)];
    if (bucket == kFree) bucket = static_cast<std::uint8_t>(field);
    entries_[field].firstNamesake = bucket;
    lengths_ |= lengthBit(*name);
  }
}

void FieldNameTable::throwOutOfRange(std::int64_t field) const {
  throw std::out_of_range("field number " + std::to_string(field) + " is beyond the field-name table, which holds " +
                          std::to_string(count_) + " of " + std::to_string(kFields) + " names");
}

std::size_t FieldNameTable::find(std::string_view name) const {
  return (lengths_ & lengthBit(name)) == 0 ? kFields : buckets_[bucketFor(name)];
}

std::size_t FieldNameTable::bucketFor(std::string_view name) const {
  std::size_t bucket = std::hash<std::string_view>{}(name) % kBuckets;
  while (buckets_[bucket] != kFree && this->name(buckets_[bucket]) != name) bucket = (bucket + 1) % kBuckets;
  return bucket;
}

}  // namespace sqm
