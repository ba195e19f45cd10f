#include "sqm/common/Format.h"

#include <array>

#include "sqm/common/internal/Utf8.h"

namespace sqm {

namespace {

constexpr std::array<std::string_view, 4> kPlaceholders = {"%@", "%d", "%ld", "%s"};

std::size_t placeholderLength(std::string_view text) {
  for (const std::string_view placeholder : kPlaceholders) {
    if (text.starts_with(placeholder)) return placeholder.size();
  }
  return 0;
}

}  // namespace

std::size_t appendFormatted(std::string& out, std::string_view format, std::span<const std::string_view> arguments,
                            std::size_t limit) {
  std::size_t room = limit;
  std::size_t leftOut = 0;
  const auto append = [&](std::string_view text) {
    const std::size_t length = utf8PrefixLength(text, room);
    out.append(text, 0, length);
    room = length == text.size() ? room - length : 0;
    leftOut += text.size() - length;
  };
  while (!arguments.empty()) {
    const std::size_t percent = format.find('%');
    if (percent == std::string_view::npos) break;
    const std::size_t length = placeholderLength(format.substr(percent));
    if (length == 0) {
      append(format.substr(0, percent + 1));
      format.remove_prefix(percent + 1);
      continue;
    }
    append(format.substr(0, percent));
    append(arguments.front());
    format.remove_prefix(percent + length);
    arguments = arguments.subspan(1);
  }
  append(format);
  return leftOut;
}

}  // namespace sqm
