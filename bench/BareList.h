#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "bench/Comparison.h"

namespace bench {

/// The texts of a property list in one buffer, and where each of them ends.
struct BareList {
  std::unique_ptr<char[]> bytes;
  std::vector<std::size_t> ends;
};

/// Which of 64 bytes are '&' or '<': a bit each, the lowest for the first.
inline std::uint64_t marksOf(const char* bytes) {
  std::uint64_t marks = 0;
#ifdef __SSE2__
  using Block __attribute__((vector_size(16))) = char;
  for (unsigned at = 0; at < 64; at += sizeof(Block)) {
    Block block;
    std::memcpy(&block, bytes + at, sizeof block);
    const auto found = static_cast<unsigned>(__builtin_ia32_pmovmskb128(Block((block == '&') | (block == '<'))));
    marks |= std::uint64_t{found} << at;
  }
#else
  for (unsigned at = 0; at < 64; ++at) marks |= std::uint64_t{bytes[at] == '&' || bytes[at] == '<'} << at;
#endif
  return marks;
}

/// Resolves the texts between the tags of a piece of a list: references as the library writes them, and nothing is
/// checked. The marks of 64 bytes are found at once, so that no mark waits for the one before.
class BarePass {
 public:
  explicit BarePass(BareList& list) : list_(list), out_(list.bytes.get()) {}

  /// Parses whole lines, and may read 64 bytes beyond them.
  void parse(const char* at, const char* end) {
    for (const char* block = at; block < end; block += 64) {
      for (std::uint64_t marks = marksOf(block); marks != 0; marks &= marks - 1) {
        const char* const mark = block + std::countr_zero(marks);
        if (mark >= end) return;
        at = *mark == '&' ? reference(at, mark) : tag(at, mark);
      }
    }
  }

 private:
  void copy(const char* from, const char* to) {
    for (; from < to; from += 16, out_ += 16) std::memcpy(out_, from, 16);
    out_ -= from - to;
  }

  const char* reference(const char* from, const char* mark) {
    struct Reference {
      char character;
      std::uint8_t length;
    };
    // By three bits of the second character: l, g, a, #.
    static constexpr Reference kReferences[8] = {{}, {'&', 5}, {}, {'\r', 5}, {'<', 4}, {}, {}, {'>', 4}};
    copy(from, mark);
    const Reference found = kReferences[mark[1] & 7];
    *out_++ = found.character;
    return mark + found.length;
  }

  const char* tag(const char* from, const char* mark) {
    if (mark[1] == 's') return mark + std::string_view("<string>").size();
    if (mark[1] != '/' || mark[2] != 's') return mark;
    copy(from, mark);
    list_.ends.push_back(static_cast<std::size_t>(out_ - list_.bytes.get()));
    return mark + std::string_view("</string>").size();
  }

  BareList& list_;
  char* out_;
};

/// The least that loading a list takes: its file is read in pieces that stay in the cache, and each text of a piece is
/// put, unescaped, behind the one before. No line may be longer than a piece.
inline BareList loadBare(const std::string& path) {
  constexpr std::size_t kPiece = std::size_t{64} * 1024;
  constexpr std::size_t kBeyond = 64;
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct ::stat status {};
  require(file >= 0 && ::fstat(file, &status) == 0, "a list cannot be opened by hand");
  auto rest = static_cast<std::size_t>(status.st_size);
  BareList list{std::make_unique_for_overwrite<char[]>(rest + kBeyond), {}};
  BarePass pass(list);
  const auto piece = std::make_unique_for_overwrite<char[]>(kPiece + kBeyond);
  char* const begin = piece.get();
  for (std::size_t filled = 0; rest > 0;) {
    const ssize_t got = ::read(file, begin + filled, std::min(rest, kPiece - filled));
    require(got > 0, "a list cannot be read by hand");
    filled += static_cast<std::size_t>(got);
    rest -= static_cast<std::size_t>(got);
    const auto* const last = static_cast<const char*>(::memrchr(begin, '\n', filled));
    const std::size_t whole = last == nullptr ? 0 : static_cast<std::size_t>(last + 1 - begin);
    pass.parse(begin, begin + whole);
    filled -= whole;
    std::memmove(begin, begin + whole, filled);
  }
  ::close(file);
  return list;
}

}  // namespace bench
