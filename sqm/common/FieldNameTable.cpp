#include "sqm/common/FieldNameTable.h"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>

namespace sqm {

namespace {

constexpr std::uint8_t kFree = 0xFF;

}  // namespace

FieldNameTable::FieldNameTable(TextArray names) : count_(std::min(names.size(), kFields)), names_(std::move(names)) {
  buckets_.fill(kFree);
  for (std::size_t field = 0; field < count_; ++field) {
    const auto name = names_[field];
    if (!name) continue;
    std::uint8_t& bucket = buckets_[bucketFor(*name)];
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
  while (buckets_[bucket] != kFree && names_[buckets_[bucket]] != name) bucket = (bucket + 1) % kBuckets;
  return bucket;
}

}  // namespace sqm
