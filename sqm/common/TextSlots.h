#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sqm {

/// Texts by small numbers, in one buffer. An empty text is a text like any other.
///
/// Ownership: views of texts are valid until the object changes. Behind each text there are `kPadding` more bytes that
/// may be read, of any content, so that a reader can copy in steps of that size.
/// Failure: std::bad_alloc, with nothing changed.
class TextSlots {
 public:
  static constexpr std::size_t kSlots = 92;
  static constexpr std::size_t kPadding = 16;

  TextSlots() = default;
  TextSlots(const TextSlots&) = default;
  TextSlots(TextSlots&& other) noexcept : TextSlots() { swap(other); }
  TextSlots& operator=(TextSlots other) noexcept {
    swap(other);
    return *this;
  }
  ~TextSlots() = default;

  bool has(std::size_t slot) const { return (present_[slot / 64] >> slot % 64 & 1) != 0; }

  /// The text of a slot below `kSlots`; nothing when it has none.
  std::optional<std::string_view> operator[](std::size_t slot) const {
    return has(slot) ? std::optional(text(places_[slot])) : std::nullopt;
  }

  /// The number of slots that have a text.
  std::size_t size() const {
    return static_cast<std::size_t>(std::popcount(present_[0])) + static_cast<std::size_t>(std::popcount(present_[1]));
  }

  /// Stores a copy of the text, which may be a view of one in this object.
  void set(std::size_t slot, std::string_view text);

  void erase(std::size_t slot);
  void clear();

 private:
  struct Place {
    std::size_t offset = 0;
    std::size_t length = 0;
  };

  void swap(TextSlots& other) noexcept;
  std::string_view text(const Place& place) const { return {buffer_.data() + place.offset, place.length}; }
  bool hasRoomFor(std::string_view text) const { return end_ + text.size() + kPadding <= buffer_.size(); }
  void placeAtEnd(std::size_t slot, std::size_t length);
  void append(std::size_t slot, std::string_view text);
  void appendEnlarging(std::size_t slot, std::string_view text);
  void replace(std::size_t slot, std::string_view text);
  /// Compacts the buffer when it is large and less than half of it belongs to texts.
  void compactIfSparse();
  void compact(std::size_t used);
  /// The bytes that belong to texts.
  std::size_t used() const;

  std::array<Place, kSlots> places_{};
  std::array<std::uint64_t, (kSlots + 63) / 64> present_{};  // a bit for each slot
  std::string buffer_;                                       // its size is that of the memory that may be written
  std::size_t end_ = 0;                                      // of the texts in the buffer
};

}  // namespace sqm
