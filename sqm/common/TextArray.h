#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <ranges>
#include <string>
#include <string_view>
#include <vector>

namespace sqm {

/// An ordered list of texts, in one buffer. In the place of a text there may be nothing.
///
/// It takes the bytes of its texts, the size of a pointer for each text, and the same again for each absent one.
///
/// Ownership: the views that it returns are valid until it is changed.
/// Failure: an `append` for which there is no memory throws std::bad_alloc and leaves the list as it was.
class TextArray {
 public:
  using value_type = std::optional<std::string_view>;
  class Iterator;
  using iterator = Iterator;
  using const_iterator = Iterator;

  TextArray() = default;
  TextArray(const TextArray&) = default;
  TextArray(TextArray&& other) noexcept { swap(other); }
  TextArray& operator=(TextArray other) noexcept {
    swap(other);
    return *this;
  }
  ~TextArray() = default;
  TextArray(std::initializer_list<value_type> texts) { appendAll(texts); }

  /// Copies a range of texts, or of texts that may be absent.
  template <std::ranges::input_range Texts>
  requires std::convertible_to<std::ranges::range_reference_t<Texts>, value_type> TextArray(
      const Texts& texts) {  // NOLINT(google-explicit-constructor): a list of strings is such a list
    appendAll(texts);
  }

  std::size_t size() const { return ends_.size() - removed_; }
  bool empty() const { return size() == 0; }
  bool hasAbsent() const { return !absent_.empty(); }

  /// A number for the content, 0 for an empty list and a new one after every other change: in one process, lists of
  /// the same version have the same elements.
  std::uint64_t version() const { return version_; }

  /// The element at a position below `size()`.
  value_type operator[](std::size_t position) const {
    if (hasAbsent() && std::binary_search(absent_.begin(), absent_.end(), position)) return std::nullopt;
    const std::size_t begin = beginOf(removed_ + position);
    return std::string_view(bytes_).substr(begin, ends_[removed_ + position] - begin);
  }

  Iterator begin() const;
  Iterator end() const;

  /// The texts one after another, with nothing between them.
  std::string_view joined() const { return std::string_view(bytes_).substr(beginOf(removed_)); }

  /// The bytes that the texts may have, in all, before the list asks for memory.
  std::size_t capacity() const { return bytes_.capacity(); }

  /// Makes room for this many elements, and for this many bytes of their texts, in all.
  void reserve(std::size_t elements, std::size_t bytes);

  /// `text` may be a part of this list.
  void append(value_type text);

  /// Appends `more` to the last text, which is present. `more` may be a part of this list.
  void extendLast(std::string_view more);

  /// Removes the first elements, at most `size()`. Many calls together cost as much as the bytes that they remove.
  void removeFirst(std::size_t count);

  /// Appends the texts of `others` that are present, or takes its memory when that gives the same list.
  void appendPresent(TextArray others);

  friend bool operator==(const TextArray& left, const TextArray& right);

 private:
  std::size_t beginOf(std::size_t index) const { return index == 0 ? 0 : ends_[index - 1]; }
  void swap(TextArray& other) noexcept;
  void appendAll(const auto& texts) {
    for (const auto& text : texts) append(text);
  }

  std::string bytes_;
  std::vector<std::size_t> ends_;    // where in `bytes_` each text ends
  std::size_t removed_ = 0;          // the elements at the beginning of `ends_` that are no longer in the list
  std::vector<std::size_t> absent_;  // positions, ascending
  std::uint64_t version_ = 0;
};

/// Iterates over the elements of a list, in their order.
class TextArray::Iterator {
 public:
  using value_type = TextArray::value_type;
  using reference = value_type;
  using pointer = void;
  using difference_type = std::ptrdiff_t;
  using iterator_category = std::input_iterator_tag;  // its elements are no references

  Iterator() = default;
  Iterator(const TextArray& texts, std::size_t position) : texts_(&texts), position_(position) {}

  value_type operator*() const { return (*texts_)[position_]; }
  Iterator& operator++() {
    ++position_;
    return *this;
  }
  Iterator operator++(int) { return {*texts_, position_++}; }
  friend bool operator==(const Iterator&, const Iterator&) = default;

 private:
  const TextArray* texts_ = nullptr;
  std::size_t position_ = 0;
};

inline TextArray::Iterator TextArray::begin() const { return {*this, 0}; }
inline TextArray::Iterator TextArray::end() const { return {*this, size()}; }

}  // namespace sqm
