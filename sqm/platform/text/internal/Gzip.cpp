#include "sqm/platform/text/internal/Gzip.h"

#include <algorithm>
#include <libdeflate.h>
#include <memory>
#include <new>

namespace sqm::platform {

std::optional<std::string> gzip(std::string_view bytes, int level, std::size_t longest) {
  const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
      libdeflate_alloc_compressor(level), &libdeflate_free_compressor);
  if (!compressor) throw std::bad_alloc();
  std::string result(std::min(longest, libdeflate_gzip_compress_bound(compressor.get(), bytes.size())), '\0');
  result.resize(libdeflate_gzip_compress(compressor.get(), bytes.data(), bytes.size(), result.data(), result.size()));
  if (result.empty()) return std::nullopt;
  return result;
}

}  // namespace sqm::platform
