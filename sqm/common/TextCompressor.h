#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace sqm {

/// The text encoding number of UTF-8.
inline constexpr int kUtf8Encoding = 4;

/// Compresses a text into another text.
///
/// Threading: any thread.
/// Failure: nothing when the text cannot be compressed or the encoding is not supported.
class TextCompressor {
 public:
  virtual ~TextCompressor() = default;

  /// The compressed form of `text`. An implementation with a slower and better method uses it only when the result
  /// would otherwise be longer than `fitting` characters.
  virtual std::optional<std::string> compressStringWithEncoding(std::string_view text, int encoding,
                                                                std::size_t fitting) const = 0;
};

}  // namespace sqm
