#include "tools/collector/Gunzip.h"

#include <algorithm>
#include <libdeflate.h>
#include <memory>
#include <new>
#include <stdexcept>

namespace collector {

std::optional<std::string> gunzip(std::string_view bytes, std::size_t longest) {
  const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor(
      libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
  if (!decompressor) throw std::bad_alloc();
  // Doubled until the result fits: the length that a gzip file states of itself is the client's word.
  constexpr std::size_t kUsualRatio = 4;
  std::string text(std::min(longest, kUsualRatio * bytes.size()), '\0');
  std::size_t size = 0;
  do {
    std::size_t taken = 0;
    std::size_t made = 0;
    switch (libdeflate_gzip_decompress_ex(decompressor.get(), bytes.data(), bytes.size(), text.data() + size,
                                          text.size() - size, &taken, &made)) {
      case LIBDEFLATE_SUCCESS:
        bytes.remove_prefix(taken);
        size += made;
        break;
      case LIBDEFLATE_INSUFFICIENT_SPACE:
        if (text.size() == longest) return std::nullopt;
        text.resize(std::min(longest, 2 * text.size()));
        break;
      default:
        throw std::invalid_argument("the body is not gzip, as its Content-Encoding says, or is not whole");
    }
  } while (!bytes.empty());
  text.resize(size);
  return text;
}

}  // namespace collector
