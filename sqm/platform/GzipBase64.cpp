#include "sqm/platform/GzipBase64.h"

#include <cstdint>
#include <libdeflate.h>
#include <memory>
#include <new>

namespace sqm::platform {

namespace {

constexpr int kUsualLevel = 9;
constexpr int kBestLevel = 12;

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kGroup = 3;  // bytes, which become four characters

std::string base64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + kGroup - 1) / kGroup * 4);
  for (std::size_t at = 0; at < bytes.size(); at += kGroup) {
    const auto byte = [&](std::size_t index) -> std::uint32_t {
      return at + index < bytes.size() ? static_cast<unsigned char>(bytes[at + index]) : 0;
    };
    const std::uint32_t group = byte(0) << 16 | byte(1) << 8 | byte(2);
    for (const unsigned shift : {18U, 12U, 6U, 0U}) text.push_back(kAlphabet[group >> shift & 0x3F]);
  }
  const std::size_t padding = (kGroup - bytes.size() % kGroup) % kGroup;
  text.replace(text.size() - padding, padding, padding, '=');
  return text;
}

std::optional<std::string> gzip(std::string_view text, int level) {
  const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
      libdeflate_alloc_compressor(level), &libdeflate_free_compressor);
  if (!compressor) return std::nullopt;
  std::string bytes(libdeflate_gzip_compress_bound(compressor.get(), text.size()), '\0');
  bytes.resize(libdeflate_gzip_compress(compressor.get(), text.data(), text.size(), bytes.data(), bytes.size()));
  return bytes;
}

}  // namespace

std::optional<std::string> GzipBase64::compressStringWithEncoding(std::string_view text, int encoding,
                                                                  std::size_t fitting) const try {
  if (encoding != kUtf8Encoding) return std::nullopt;
  std::optional<std::string> compressed;
  for (const int level : {kUsualLevel, kBestLevel}) {
    const auto bytes = gzip(text, level);
    if (!bytes) return std::nullopt;
    compressed = base64(*bytes);
    if (compressed->size() <= fitting) break;
  }
  return compressed;
} catch (const std::bad_alloc&) {
  return std::nullopt;
}

}  // namespace sqm::platform
