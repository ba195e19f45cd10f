#include "tools/sqmctl/XmlName.h"

#include <algorithm>
#include <iterator>

#include "sqm/common/internal/Utf8.h"

namespace sqmctl {

namespace {

struct Range {
  char32_t first;
  char32_t last;
};

/// [4] NameStartChar
constexpr Range kStart[] = {{':', ':'},       {'A', 'Z'},       {'_', '_'},       {'a', 'z'},
                            {0xC0, 0xD6},     {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},
                            {0x37F, 0x1FFF},  {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},
                            {0x3001, 0xD7FF}, {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF}};

/// What [4a] NameChar adds to it.
constexpr Range kInside[] = {{'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040}};

template <std::size_t size>
bool isIn(const Range (&ranges)[size], char32_t character) {
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [&](const Range& range) { return character >= range.first && character <= range.last; });
}

}  // namespace

std::optional<std::size_t> endOfXmlName(std::string_view text) {
  if (text.empty()) return 0;
  for (std::size_t at = 0; at < text.size();) {
    const sqm::Utf8Character next = sqm::utf8CharacterAt(text.substr(at));
    const bool isName = next.code && (isIn(kStart, *next.code) || (at > 0 && isIn(kInside, *next.code)));
    if (!isName) return at;
    at += next.length;
  }
  return std::nullopt;
}

}  // namespace sqmctl
