#include "sqm/common/TextSlots.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace sqm {

namespace {

/// The size of the first buffer, enough for the values of most records, in bytes.
constexpr std::size_t kFirstBuffer = 1024;

/// A buffer with at most so many bytes of texts is never compacted.
constexpr std::size_t kSmallBuffer = 4096;

}  // namespace

void TextSlots::swap(TextSlots& other) noexcept {
  std::swap(places_, other.places_);
  std::swap(present_, other.present_);
  std::swap(buffer_, other.buffer_);
  std::swap(end_, other.end_);
  std::swap(used_, other.used_);
}

void TextSlots::set(std::size_t slot, std::string_view text) {
  if (has(slot)) return replace(places_[slot], text);
  places_[slot] = append(text);
  present_[slot / 64] |= std::uint64_t{1} << slot % 64;
}

void TextSlots::erase(std::size_t slot) {
  if (!has(slot)) return;
  present_[slot / 64] &= ~(std::uint64_t{1} << slot % 64);
  used_ -= places_[slot].length;
  compactIfSparse();
}

void TextSlots::clear() {
  present_ = {};
  end_ = 0;
  used_ = 0;
}

TextSlots::Place TextSlots::append(std::string_view text) {
  if (buffer_.size() < end_ + kPadding || buffer_.size() - end_ - kPadding < text.size()) return appendEnlarging(text);
  if (!text.empty()) std::memcpy(buffer_.data() + end_, text.data(), text.size());
  used_ += text.size();
  end_ += text.size();
  return {end_ - text.size(), text.size()};
}

TextSlots::Place TextSlots::appendEnlarging(std::string_view text) {
  std::string enlarged(std::max({kFirstBuffer, 2 * buffer_.size(), end_ + text.size() + kPadding}), '\0');
  if (end_ > 0) std::memcpy(enlarged.data(), buffer_.data(), end_);
  enlarged.swap(buffer_);
  return append(text);  // which may be a view of the earlier buffer
}

void TextSlots::replace(Place& place, std::string_view text) {
  const std::size_t earlier = place.length;
  if (text.size() <= earlier) {
    if (!text.empty()) std::memmove(buffer_.data() + place.offset, text.data(), text.size());
    place.length = text.size();
    used_ -= earlier - text.size();
    return;
  }
  place = append(text);
  used_ -= earlier;
  compactIfSparse();
}

void TextSlots::compactIfSparse() {
  if (end_ <= kSmallBuffer || used_ >= end_ / 2) return;
  std::string compact(used_ + kPadding, '\0');
  std::size_t end = 0;
  for (std::size_t slot = 0; slot < kSlots; ++slot) {
    if (!has(slot)) continue;
    Place& place = places_[slot];
    text(place).copy(compact.data() + end, place.length);
    place.offset = end;
    end += place.length;
  }
  buffer_ = std::move(compact);
  end_ = end;
}

}  // namespace sqm
