#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// `count` times `text`.
inline std::string repeated(std::string_view text, std::size_t count) {
  std::string all;
  all.reserve(text.size() * count);
  for (std::size_t i = 0; i < count; ++i) all.append(text);
  return all;
}

/// Every byte from 0 to 255, in order.
inline std::string everyByte() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes.push_back(static_cast<char>(byte));
  return bytes;
}

/// Texts that break careless formatters, parsers and buffers.
inline const std::string kAwkwardTexts[] = {
    "100 % of %@, %s and %ld",  "\"quoted\" 'twice'", "<a>&amp;</a>", "line\r\n\ttab", " ", "",
    repeated("long ", 200'000), everyByte(),
};
