#include "sqm/platform/text/GzipBase64.h"

#include <libdeflate.h>
#include <memory>
#include <new>

#include "sqm/common/internal/Base64.h"

namespace sqm::platform {

namespace {

constexpr int kUsualLevel = 9;
constexpr int kBestLevel = 12;

std::string gzip(std::string_view text, int level) {
  const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
      libdeflate_alloc_compressor(level), &libdeflate_free_compressor);
  if (!compressor) throw std::bad_alloc();
  std::string bytes(libdeflate_gzip_compress_bound(compressor.get(), text.size()), '\0');
  bytes.resize(libdeflate_gzip_compress(compressor.get(), text.data(), text.size(), bytes.data(), bytes.size()));
  return bytes;
}

}  // namespace

std::optional<std::string> GzipBase64::compressStringWithEncoding(std::string_view text, int encoding,
                                                                  std::size_t fitting) const {
  if (encoding != kUtf8Encoding) return std::nullopt;
  std::optional<std::string> compressed;
  for (const int level : {kUsualLevel, kBestLevel}) {
    compressed = base64Of(gzip(text, level));
    if (compressed->size() <= fitting) break;
  }
  return compressed;
}

}  // namespace sqm::platform
