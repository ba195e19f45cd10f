#include "sqm/common/internal/XmlText.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
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

constexpr Replacement kReplacementCharacter = {"\xEF\xBF\xBD", 3};

/// What is written for an ASCII character to stop at: a table, because which comes next is not predictable.
constexpr auto kReplacements = [] {
  std::array<Replacement, 128> table{};
  table.fill(kReplacementCharacter);
  table['&'] = {"&amp;", 5};
  table['<'] = {"&lt;", 4};
  table['>'] = {"&gt;", 4};
  table['"'] = {"&quot;", 6};
  table['\''] = {"&apos;", 6};
  table['\r'] = {"&#13;", 5};
  return table;
}();

/// What is written for a character to stop at, by its first byte.
constexpr const Replacement& replacementOf(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return byte < kReplacements.size() ? kReplacements[byte] : kReplacementCharacter;
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
  /// Copies the bytes in whole blocks, and at least one: up to 16 more than asked are read, and written where there
  /// must be room. Most runs are shorter than a block, so that no branch depends on their length.
  void copyRun(const char* from, const char* to) {
    char* const end = to_ + (to - from);
    do {
      std::memcpy(to_, from, kScanBlock);
      from += kScanBlock;
      to_ += kScanBlock;
    } while (from < to);
    to_ = end;
  }
  /// `remaining`: the bytes that follow.
  void replace(const Replacement& replacement, std::size_t remaining) {
    makeRoom(sizeof replacement.text, remaining);
    put(replacement);
  }
  /// There must be room for its whole text.
  void put(const Replacement& replacement) {
    std::memcpy(to_, replacement.text, sizeof replacement.text);
    to_ += replacement.length;
  }
  /// Makes room for `next` bytes, and for those that remain.
  void makeRoom(std::size_t next, std::size_t remaining) {
    const std::size_t room = next + remaining;
    if (static_cast<std::size_t>(end_ - to_) < room) extend(used(), room + remaining / 8 + kSpare);
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

/// True for the white space at which the scan does not stop.
template <StopAt stopAt>
constexpr bool isPassedWhiteSpace(char character) {
  return character == '\t' || character == '\n' || (character == '\r' && stopAt != StopAt::propertyList);
}

/// Copies the first 64 bytes, with replacements, when they are ASCII; returns how many were copied, or 0.
template <StopAt stopAt>
std::size_t appendAsciiGroup(Output& output, std::string_view text) {
  if (text.size() < kScanGroup + kScanBlock) return 0;
  const char* const group = text.data();
  std::uint64_t stops = stopsIn<stopAt>(group);
  if ((stops & beyondAsciiIn(group)) != 0) return 0;
  output.makeRoom(kScanGroup * sizeof(Replacement::text), text.size());
  const char* at = group;
  for (; stops != 0; stops &= stops - 1) {
    const char* const stop = group + std::countr_zero(stops);
    if (isPassedWhiteSpace<stopAt>(*stop)) continue;
    output.copyRun(at, stop);
    output.put(kReplacements[static_cast<unsigned char>(*stop)]);
    at = stop + 1;
  }
  output.copyRun(at, group + kScanGroup);
  return kScanGroup;
}

/// Copies a text that begins with a character to stop at, with replacements.
template <StopAt stopAt>
[[gnu::noinline]] void appendStopped(std::string& out, std::string_view text) {
  Output output(out, text.size());
  std::size_t groupsBelow = text.size();  // what remains when the next group is tried
  while (!text.empty()) {
    if (text.size() <= groupsBelow) {
      const std::size_t group = appendAsciiGroup<stopAt>(output, text);
      text.remove_prefix(group);
      groupsBelow = text.size() - (group > 0 ? 0 : std::min(kScanGroup, text.size()));
      continue;
    }
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

/// Copies the text, with replacements for the characters that are to stop at.
template <StopAt stopAt>
void append(std::string& out, std::string_view text) {
  const std::size_t unchanged = passedLength<stopAt>(text);
  out.append(text.data(), unchanged);
  if (unchanged < text.size()) appendStopped<stopAt>(out, text.substr(unchanged));
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
