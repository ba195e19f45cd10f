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
  const std::size_t removed = ends_[count - 1];
  bytes_.erase(0, removed);
  ends_.erase(ends_.begin(), ends_.begin() + static_cast<std::ptrdiff_t>(count));
  for (std::size_t& end : ends_) end -= removed;
  version_ = newVersion();
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
