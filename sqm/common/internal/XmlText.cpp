#include "sqm/common/internal/XmlText.h"

#include <cstddef>
#include <cstring>

#include "sqm/common/internal/TextScan.h"
#include "sqm/common/internal/Utf8.h"

namespace sqm {

namespace {

/// Padded, so that it is copied with one store.
struct Replacement {
  char text[8];
  std::size_t length;
};

/// What is written for a character to stop at, by its first byte.
constexpr Replacement replacementOf(char character) {
  switch (character) {
    case '&':
      return {"&amp;", 5};
    case '<':
      return {"&lt;", 4};
    case '>':
      return {"&gt;", 4};
    case '"':
      return {"&quot;", 6};
    case '\'':
      return {"&apos;", 6};
    case '\r':
      return {"&#13;", 5};
    default:
      return {"\xEF\xBF\xBD", 3};
  }
}

/// Appends to a string. The room for the text that is still to come is made beforehand: text without replacements is
/// copied without a check.
class Output {
 public:
  Output(std::string& out, std::size_t room) : out_(out) { extend(out.size(), room); }
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  ~Output() { out_.resize(used()); }

  void copy(const char* bytes, std::size_t length) {
    std::memcpy(to_, bytes, length);
    to_ += length;
  }
  /// Copies a block, of which `length` bytes count. There must be room for the whole block.
  void copyBlock(const char* block, std::size_t length) {
    std::memcpy(to_, block, kScanBlock);
    to_ += length;
  }
  /// `remaining`: the bytes that follow.
  void replace(const Replacement& replacement, std::size_t remaining) {
    const std::size_t room = sizeof replacement.text + remaining;
    if (static_cast<std::size_t>(end_ - to_) < room) extend(used(), room + remaining / 8 + kSpare);
    std::memcpy(to_, replacement.text, sizeof replacement.text);
    to_ += replacement.length;
  }

 private:
  static constexpr std::size_t kSpare = 16;

  std::size_t used() const { return static_cast<std::size_t>(to_ - out_.data()); }
  void extend(std::size_t used, std::size_t room) {
    out_.resize(used + room);
    to_ = out_.data() + used;
    end_ = to_ + room;
  }

  std::string& out_;
  char* to_ = nullptr;
  char* end_ = nullptr;
};

/// Copies the text, with replacements for the characters that are to stop at.
template <StopAt stopAt>
void append(std::string& out, std::string_view text) {
  const std::size_t unchanged = passedLength<stopAt>(text);
  out.append(text, 0, unchanged);
  text.remove_prefix(unchanged);
  if (text.empty()) return;
  Output output(out, text.size());
  while (!text.empty()) {
    const Passed next = passed<stopAt>(text);
    if (text.size() >= kScanBlock) {
      output.copyBlock(text.data(), next.length);
    } else {
      output.copy(text.data(), next.length);
    }
    text.remove_prefix(next.length);
    if (!next.isStopped) continue;
    const char stop = text.front();
    const bool isAscii = static_cast<unsigned char>(stop) < 0x80;
    text.remove_prefix(isAscii ? 1 : utf8SequenceAt(text).length);
    output.replace(replacementOf(stop), text.size());
  }
}

}  // namespace

void appendXmlText(std::string& out, std::string_view text, XmlEscaping escaping) {
  if (escaping == XmlEscaping::markup) {
    append<StopAt::markup>(out, text);
  } else {
    append<StopAt::propertyList>(out, text);
  }
}

void appendXmlAllowed(std::string& out, std::string_view text) { append<StopAt::notXml>(out, text); }

bool isXmlAllowed(std::string_view text) { return passedLength<StopAt::notXml>(text) == text.size(); }

}  // namespace sqm
