#include "sqm/platform/text/GzipBase64.h"

#include <limits>

#include "sqm/common/internal/Base64.h"
#include "sqm/platform/text/internal/Gzip.h"

namespace sqm::platform {

namespace {

constexpr int kUsualLevel = 9;
constexpr int kBestLevel = 12;
constexpr std::size_t kAnyLength = std::numeric_limits<std::size_t>::max();

}  // namespace

std::optional<std::string> GzipBase64::compressStringWithEncoding(std::string_view text, int encoding,
                                                                  std::size_t fitting) const {
  if (encoding != kUtf8Encoding) return std::nullopt;
  std::optional<std::string> compressed;
  for (const int level : {kUsualLevel, kBestLevel}) {
    compressed = base64Of(*gzip(text, level, kAnyLength));
    if (compressed->size() <= fitting) break;
  }
  return compressed;
}

}  // namespace sqm::platform
