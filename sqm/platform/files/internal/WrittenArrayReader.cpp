#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include "sqm/common/internal/TextScan.h"
#include "sqm/common/internal/Utf8.h"
#include "sqm/platform/files/internal/PropertyListForms.h"
#include "sqm/platform/files/internal/XmlArrayLayout.h"

namespace sqm::platform {

namespace {

/// The file is read in pieces of this size, which stay in the processor's cache.
constexpr std::size_t kPiece = std::size_t{64} * 1024;

/// The bytes that are scanned at once. No tag and no reference is longer.
constexpr std::size_t kBlock = kScanGroup;

/// A block is scanned when the tag or reference that begins in it is whole.
constexpr std::ptrdiff_t kMargin = 2 * kBlock;

bool beginsWith(const char* bytes, std::string_view expected) {
  return std::memcmp(bytes, expected.data(), expected.size()) == 0;
}

using Word = std::array<char, 8>;

/// A reference as it is written.
struct Reference {
  Reference() = default;
  constexpr Reference(std::string_view text, char replacement) : character(replacement), length(text.size()) {
    Word letters{};
    Word all{};
    std::ranges::copy(text, letters.begin());
    std::fill_n(all.begin(), length, '\xFF');
    word = std::bit_cast<std::uint64_t>(letters);
    mask = std::bit_cast<std::uint64_t>(all);
  }

  char character = '\0';
  std::size_t length = 0;
  std::uint64_t word = 1;  // which no masked word equals, in the place of no reference
  std::uint64_t mask = 0;
};

/// All of them, by the three lowest bits of their second character.
constexpr std::array<Reference, 8> kReferences = {
    {{}, {"&amp;", '&'}, {}, {"&#13;", '\r'}, {"&lt;", '<'}, {}, {}, {"&gt;", '>'}}};

/// Copies 16 bytes at a time: up to 15 more than asked.
char* copied(const char* from, const char* to, char* out) {
  char* const end = out + (to - from);
  for (; from < to; from += kScanBlock, out += kScanBlock) std::memcpy(out, from, kScanBlock);
  return end;
}

/// Parses the layout from the first element on, piece by piece. The bytes of a text are put into a buffer, with the
/// references replaced, and from there into the array.
class Parser {
 public:
  explicit Parser(TextArray& array)
      : array_(array), text_(std::make_unique_for_overwrite<char[]>(kPiece + kMargin)), textEnd_(text_.get()) {}

  /// Parses what is whole between `at` and `end`, which is followed by `kBlock` bytes: by NULs when it is the end of
  /// the file. Returns where it stopped: null at what is not in the layout.
  const char* parse(const char* at, const char* end, bool isLast) {
    while (at != nullptr && (isLast ? at < end : end - at >= kMargin)) {
      at = isInText_ ? parseText(at, end, isLast) : parseTag(at);
    }
    return at;
  }

  /// True when the array has ended.
  bool isComplete() const { return isComplete_; }

 private:
  const char* parseTag(const char* at) {
    if (isComplete_) return nullptr;
    if (beginsWith(at, kStringBegin)) {
      array_.append("");
      isInText_ = true;
      isAscii_ = true;
      return at + kStringBegin.size();
    }
    isComplete_ = beginsWith(at, kArrayEnd) && beginsWith(at + kArrayEnd.size(), kXmlEnd);
    return isComplete_ ? at + kArrayEnd.size() + kXmlEnd.size() : nullptr;
  }

  const char* parseText(const char* at, const char* end, bool isLast) {
    char* out = textEnd_;
    const char* block = at;
    for (; isLast || end - block >= kMargin; block = std::max(block + kBlock, at)) {  // a reference may end beyond it
      for (std::uint64_t stops = stopsIn<StopAt::propertyList>(block); stops != 0; stops &= stops - 1) {
        const char* const stop = block + std::countr_zero(stops);
        if (*stop == '&') {
          out = copied(at, stop, out);
          const Reference& reference = kReferences[static_cast<std::size_t>(stop[1] & 7)];
          std::uint64_t word = 0;
          std::memcpy(&word, stop, sizeof word);
          if ((word & reference.mask) != reference.word) return nullptr;
          *out++ = reference.character;
          at = stop + reference.length;
        } else if (*stop == '<') {
          textEnd_ = copied(at, stop, out);
          isInText_ = false;
          return beginsWith(stop, kStringEnd) && flush(textSize()) ? stop + kStringEnd.size() : nullptr;
        } else if (static_cast<unsigned char>(*stop) >= 0x80) {
          isAscii_ = false;
        } else if (*stop != '\t' && *stop != '\n') {
          return nullptr;
        }
      }
    }
    textEnd_ = copied(at, block, out);
    // The last character may not be whole yet.
    return textSize() == 0 || flush(utf8PrefixLength({text_.get(), textSize()}, textSize() - 1)) ? block : nullptr;
  }

  std::size_t textSize() const { return static_cast<std::size_t>(textEnd_ - text_.get()); }

  /// Moves the beginning of the buffer to the end of the last text. Returns false when XML does not allow it.
  bool flush(std::size_t length) {
    const std::string_view text(text_.get(), length);
    if (!isAscii_ && !isXmlAllowed(text)) return false;
    array_.extendLast(text);
    std::memmove(text_.get(), text_.get() + length, textSize() - length);
    textEnd_ -= length;
    return true;
  }

  TextArray& array_;
  std::unique_ptr<char[]> text_;
  char* textEnd_;
  bool isInText_ = false;
  bool isAscii_ = true;  // the text so far
  bool isComplete_ = false;
};

}  // namespace

std::error_code readWrittenArray(FileOperations& files, const File& file, std::optional<TextArray>& array) {
  auto rest = static_cast<std::uintmax_t>(file.status().st_size);
  const auto bytes = std::make_unique_for_overwrite<char[]>(kPiece + kBlock);
  std::size_t filled = 0;
  const auto read = [&] {
    const auto wanted = static_cast<std::size_t>(std::min<std::uintmax_t>(rest, kPiece - filled));
    std::size_t count = wanted;
    const auto failure = readUpTo(files, file.descriptor(), bytes.get() + filled, count);
    rest = count < wanted ? 0 : rest - count;
    filled += count;
    std::memset(bytes.get() + filled, 0, kBlock);
    return failure;
  };
  if (const auto failure = read()) return failure;
  const std::string_view first(bytes.get(), filled);
  if (!first.starts_with(kXmlBegin)) return {};
  const std::string_view content = first.substr(kXmlBegin.size());
  if (content.starts_with(kEmptyArray) && content.substr(kEmptyArray.size()) == kXmlEnd) array.emplace();
  if (!content.starts_with(kArrayBegin)) return {};

  // No text is longer than in the file. Memory that is not used is never provided by the system.
  if (rest > std::string().max_size() - filled) return make_error_code(std::errc::not_enough_memory);
  TextArray texts;
  texts.reserve(0, static_cast<std::size_t>(rest) + filled);
  Parser parser(texts);
  const char* at = content.data() + kArrayBegin.size();
  for (;;) {
    const char* const end = bytes.get() + filled;
    at = parser.parse(at, end, rest == 0);
    if (at == nullptr) return {};
    if (rest == 0) break;
    filled = static_cast<std::size_t>(end - at);
    std::memmove(bytes.get(), at, filled);
    if (const auto failure = read()) return failure;
    at = bytes.get();
  }
  if (parser.isComplete()) array = std::move(texts);
  return {};
}

}  // namespace sqm::platform
