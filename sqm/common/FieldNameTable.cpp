#include "sqm/common/FieldNameTable.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "sqm/common/Format.h"
#include "sqm/common/TextSlots.h"

namespace sqm {

namespace {

constexpr std::uint8_t kFree = 0xFF;

}  // namespace

FieldNameTable::FieldNameTable(const TextArray& names) : count_(std::min(names.size(), kFields)) {
  for (std::size_t field = 0; field < count_; ++field) {
    const std::optional<std::string_view> name = names[field];
    const std::string_view shown = name.value_or(kNullText);
    entries_[field] = {text_.size(), shown.size(), name.has_value()};
    text_.append("<").append(shown).append("></").append(shown).append(">");
  }
  text_.append(TextSlots::kPadding, '\0');
  firstNamesakes_.fill(kFields);
  buckets_.fill(kFree);
  for (std::size_t field = 0; field < count_; ++field) {
    const auto own = name(static_cast<std::int64_t>(field));
    if (!own) continue;
    std::uint8_t& bucket = buckets_[bucketFor(*own)];
    if (bucket == kFree) bucket = static_cast<std::uint8_t>(field);
    firstNamesakes_[field] = bucket;
  }
}

void FieldNameTable::throwOutOfRange(std::int64_t field) const {
  throw std::out_of_range("field number " + std::to_string(field) + " is beyond the field-name table, which holds " +
                          std::to_string(count_) + " of " + std::to_string(kFields) + " names");
}

std::optional<std::size_t> FieldNameTable::fieldNamed(std::string_view name) const {
  const std::uint8_t field = buckets_[bucketFor(name)];
  return field == kFree ? std::nullopt : std::optional<std::size_t>(field);
}

std::size_t FieldNameTable::bucketFor(std::string_view name) const {
  std::size_t bucket = std::hash<std::string_view>{}(name) % kBuckets;
  while (buckets_[bucket] != kFree && this->name(buckets_[bucket]) != name) bucket = (bucket + 1) % kBuckets;
  return bucket;
}

}  // namespace sqm
