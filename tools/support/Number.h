#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace tools {

/// The number that `text` consists of, in decimal or, for integers, another base; nothing for any other text and for a
/// number that does not fit.
template <typename Number, typename... Base>
std::optional<Number> numberIn(std::string_view text, Base... base) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base...);
  return error == std::errc{} && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

}  // namespace tools
