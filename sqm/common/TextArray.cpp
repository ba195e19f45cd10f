#include "sqm/common/TextArray.h"

#include <atomic>
#include <utility>

namespace sqm {

namespace {

/// Makes room for one element more, so that adding it cannot fail.
void makeRoom(std::vector<std::size_t>& positions) {
  constexpr std::size_t kFirst = 16;
  if (positions.size() == positions.capacity()) positions.reserve(std::max(kFirst, 2 * positions.size()));
}

std::uint64_t newVersion() {
  static std::atomic<std::uint64_t> last{0};
  return last.fetch_add(1, std::memory_order_relaxed) + 1;
}

}  // namespace

void TextArray::swap(TextArray& other) noexcept {
  bytes_.swap(other.bytes_);
  ends_.swap(other.ends_);
  std::swap(removed_, other.removed_);
  absent_.swap(other.absent_);
  std::swap(version_, other.version_);
}

void TextArray::reserve(std::size_t elements, std::size_t bytes) {
  ends_.reserve(elements);
  bytes_.reserve(bytes);
}

void TextArray::append(value_type text) {
  makeRoom(ends_);
  if (text) {
    bytes_.append(*text);
  } else {
    makeRoom(absent_);
    absent_.push_back(size());
  }
  ends_.push_back(bytes_.size());
  version_ = newVersion();
}

void TextArray::extendLast(std::string_view more) {
  bytes_.append(more);
  ends_.back() = bytes_.size();
  version_ = newVersion();
}

void TextArray::removeFirst(std::size_t count) {
  if (count == 0) return;
  if (count == size()) {
    *this = {};
    return;
  }
  removed_ += count;
  version_ = newVersion();
  std::erase_if(absent_, [&](std::size_t position) { return position < count; });
  for (std::size_t& position : absent_) position -= count;

  // What is removed stays in front until it takes more memory than the rest, which is then moved.
  const std::size_t removedBytes = beginOf(removed_);
  const auto memory = [](std::size_t bytes, std::size_t elements) { return bytes + elements * sizeof(std::size_t); };
  if (memory(removedBytes, removed_) <= memory(bytes_.size() - removedBytes, size())) return;
  bytes_.erase(0, removedBytes);
  constexpr std::size_t kMostSpare = 4;
  if (bytes_.capacity() / kMostSpare > bytes_.size()) bytes_.shrink_to_fit();
  ends_.erase(ends_.begin(), ends_.begin() + static_cast<std::ptrdiff_t>(removed_));
  for (std::size_t& end : ends_) end -= removedBytes;
  removed_ = 0;
}

bool operator==(const TextArray& left, const TextArray& right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end());
}

void TextArray::appendPresent(TextArray others) {
  if (empty() && !others.hasAbsent()) {
    *this = std::move(others);
    return;
  }
  for (const auto text : others) {
    if (text) append(text);
  }
}

}  // namespace sqm
