#include "sqm/common/TextSlots.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "sqm/common/internal/CopyText.h"

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
}

void TextSlots::set(std::size_t slot, std::string_view text) {
  if (has(slot)) return replace(slot, text);
  if (text.size() > kShortText || !hasRoomFor(text)) return append(slot, text);
  copyShort(buffer_.data() + end_, text);
  placeAtEnd(slot, text.size());
}

void TextSlots::erase(std::size_t slot) {
  if (!has(slot)) return;
  present_[slot / 64] &= ~(std::uint64_t{1} << slot % 64);
  compactIfSparse();
}

void TextSlots::clear() {
  present_ = {};
  end_ = 0;
}

inline void TextSlots::placeAtEnd(std::size_t slot, std::size_t length) {
  places_[slot] = {end_, length};
  present_[slot / 64] |= std::uint64_t{1} << slot % 64;
  end_ += length;
}

void TextSlots::append(std::size_t slot, std::string_view text) {
  if (!hasRoomFor(text)) return appendEnlarging(slot, text);
  copyText(buffer_.data() + end_, text);
  placeAtEnd(slot, text.size());
}

void TextSlots::appendEnlarging(std::size_t slot, std::string_view text) {
  std::string enlarged(std::max({kFirstBuffer, 2 * buffer_.size(), end_ + text.size() + kPadding}), '\0');
  if (end_ > 0) std::memcpy(enlarged.data(), buffer_.data(), end_);
  enlarged.swap(buffer_);
  append(slot, text);  // which may be a view of the earlier buffer
}

void TextSlots::replace(std::size_t slot, std::string_view text) {
  Place& place = places_[slot];
  if (text.size() <= place.length) {
    copyText(buffer_.data() + place.offset, text);
    place.length = text.size();
    return;
  }
  append(slot, text);
  compactIfSparse();
}

void TextSlots::compactIfSparse() {
  if (end_ <= kSmallBuffer) return;
  const std::size_t used = this->used();
  if (used < end_ / 2) compact(used);
}

std::size_t TextSlots::used() const {
  std::size_t used = 0;
  for (std::size_t slot = 0; slot < kSlots; ++slot) used += has(slot) ? places_[slot].length : 0;
  return used;
}

void TextSlots::compact(std::size_t used) {
  std::string compact(used + kPadding, '\0');
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
