#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

/// The tags and values of an XML text, in their order: views of the text.
inline std::vector<std::string_view> piecesOf(std::string_view text) {
  std::vector<std::string_view> pieces;
  while (!text.empty()) {
    const std::size_t end = text.front() == '<' ? text.find('>') + 1 : std::min(text.find('<'), text.size());
    pieces.push_back(text.substr(0, end));
    text.remove_prefix(end);
  }
  return pieces;
}

/// Copies the pieces one after another, and returns the end of the copy.
inline char* copyPieces(std::span<const std::string_view> pieces, char* at) {
  for (const std::string_view piece : pieces) {
    std::memcpy(at, piece.data(), piece.size());  // NOLINT(bugprone-not-null-terminated-result)
    at += piece.size();
  }
  return at;
}

/// The least that filling and formatting a record take: each value is copied once, and then copied into the text.
class BareRecord {
 public:
  /// `values`: of the record, in any order, each different; `text`: the record's text with these values.
  BareRecord(std::vector<std::string> values, std::string text)
      : values_(std::move(values)), text_(std::move(text)), views_(values_.begin(), values_.end()) {
    for (const std::string_view piece : piecesOf(text_)) {
      const auto value = std::find(views_.begin(), views_.end(), piece);
      const std::size_t offset = offsetOf(static_cast<std::size_t>(value - views_.begin()));
      ownPieces_.push_back(piece);
      copiedPieces_.push_back(value == views_.end() ? piece : std::string_view(copies_ + offset, piece.size()));
    }
  }
  BareRecord(const BareRecord&) = delete;
  BareRecord& operator=(const BareRecord&) = delete;

  std::size_t length() const { return text_.size(); }
  void fill() { copyPieces(views_, copies_); }
  char* format(char* at) const { return copyPieces(copiedPieces_, at); }
  /// The same text from values that are not copied.
  char* formatUnfilled(char* at) const { return copyPieces(ownPieces_, at); }

 private:
  static constexpr std::size_t kRoom = std::size_t{64} * 1024;

  std::size_t offsetOf(std::size_t index) const {
    std::size_t offset = 0;
    for (std::size_t before = 0; before < index && before < views_.size(); ++before) offset += views_[before].size();
    return offset;
  }

  std::vector<std::string> values_;
  std::string text_;
  std::vector<std::string_view> views_;
  std::vector<std::string_view> ownPieces_;
  std::vector<std::string_view> copiedPieces_;
  char copies_[kRoom] = {};
};

}  // namespace bench
