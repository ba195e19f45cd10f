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

/// Copies a text, faster than a call of `memcpy` where it is as short as most values are.
inline void copyText(char* to, std::string_view text) {
  const auto copyEnds = [&](auto word) {  // the words overlap
    const std::size_t last = text.size() - sizeof word;
    std::memcpy(&word, text.data(), sizeof word);
    auto lastWord = word;
    std::memcpy(&lastWord, text.data() + last, sizeof word);
    std::memcpy(to, &word, sizeof word);
    std::memcpy(to + last, &lastWord, sizeof word);
  };
  struct TwoWords {
    std::uint64_t words[2];
  };
  if (text.size() > 2 * sizeof(TwoWords)) {
    std::memcpy(to, text.data(), text.size());
  } else if (text.size() >= sizeof(TwoWords)) {
    copyEnds(TwoWords{});
  } else if (text.size() >= sizeof(std::uint64_t)) {
    copyEnds(std::uint64_t{});
  } else {
    for (std::size_t at = 0; at < text.size(); ++at) to[at] = text[at];
  }
}

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
  append(places_[slot], text);
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

inline void TextSlots::append(Place& place, std::string_view text) {
  const std::size_t end = end_ + text.size();
  if (buffer_.size() < end + kPadding) return appendEnlarging(place, text);
  copyText(buffer_.data() + end_, text);
  place = {end_, text.size()};
  used_ += text.size();
  end_ = end;
}

void TextSlots::appendEnlarging(Place& place, std::string_view text) {
  std::string enlarged(std::max({kFirstBuffer, 2 * buffer_.size(), end_ + text.size() + kPadding}), '\0');
  if (end_ > 0) std::memcpy(enlarged.data(), buffer_.data(), end_);
  enlarged.swap(buffer_);
  append(place, text);  // which may be a view of the earlier buffer
}

void TextSlots::replace(Place& place, std::string_view text) {
  const std::size_t earlier = place.length;
  if (text.size() <= earlier) {
    if (!text.empty()) std::memmove(buffer_.data() + place.offset, text.data(), text.size());
    place.length = text.size();
    used_ -= earlier - text.size();
    return;
  }
  append(place, text);
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
