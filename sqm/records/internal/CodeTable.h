#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

namespace sqm {

/// A numeric code of the client, and the text that records carry for it.
struct CodeText {
  std::int32_t code;
  std::string_view text;
};

/// The text for the code, or `otherwise` for a code that the table does not list.
constexpr std::string_view textForCode(std::span<const CodeText> table, std::int32_t code, std::string_view otherwise) {
  const auto found = std::find_if(table.begin(), table.end(), [&](const CodeText& row) { return row.code == code; });
  return found == table.end() ? otherwise : found->text;
}

}  // namespace sqm
