#include "tools/sqmctl/Blob.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <zlib.h>

#include <nlohmann/json.hpp>

#include "sqm/common/internal/Base64.h"
#include "sqm/common/internal/Utf8.h"

#include "tools/sqmctl/Command.h"

namespace sqmctl {

namespace {

constexpr std::string_view kBase64Layer = "layer 1 (Base64) is invalid: ";
constexpr std::string_view kGzipLayer = "layer 2 (gzip) is invalid: ";
constexpr std::string_view kJsonLayer = "layer 3 (JSON) is invalid: ";

[[noreturn]] void fail(std::string_view layer, const std::string& text) {
  throw Problem(kBadInput, std::string(layer) + text);
}

}  // namespace

std::string compressedOf(std::string_view blob) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t begin = std::min(blob.find_first_not_of(kBlanks), blob.size());
  blob = blob.substr(begin, blob.find_last_not_of(kBlanks) + 1 - begin);
  if (blob.empty()) fail(kBase64Layer, "it is empty; a report that was too long is empty");
  std::size_t validLength = 0;
  auto bytes = sqm::bytesOfBase64(blob, validLength);
  if (bytes) return *std::move(bytes);
  if (validLength < blob.size() && blob[validLength] != '=') {
    const std::string_view rest = blob.substr(validLength);
    fail(kBase64Layer, "invalid character '" + tools::visible(rest.substr(0, sqm::utf8CharacterAt(rest).length)) +
                           "' at byte " + std::to_string(begin + validLength));
  }
  fail(kBase64Layer, "unexpected end at byte " + std::to_string(begin + blob.size()));
}

std::string textOf(std::string_view compressed, std::size_t limit) {
  constexpr int kGzip = 16 + MAX_WBITS;
  constexpr std::size_t kStep = std::size_t{1} << 16;
  ::z_stream stream{};
  if (inflateInit2(&stream, kGzip) != Z_OK) throw Problem(kFailure, "there is not enough memory");
  const std::unique_ptr<::z_stream, int (*)(::z_stream*)> owner(&stream, &inflateEnd);
  const auto place = [&] { return " at byte " + std::to_string(stream.total_in); };

  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast,cppcoreguidelines-pro-type-reinterpret-cast): zlib only reads
  stream.next_in = const_cast<Bytef*>(reinterpret_cast<const Bytef*>(compressed.data()));
  stream.avail_in = static_cast<uInt>(std::min<std::size_t>(compressed.size(), std::numeric_limits<uInt>::max()));
  std::string text;
  int result = Z_OK;
  while (result == Z_OK) {
    const std::size_t end = text.size();
    text.resize(end + std::min(kStep, limit + 1 - end));
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): zlib's bytes are unsigned
    stream.next_out = reinterpret_cast<Bytef*>(text.data() + end);
    stream.avail_out = static_cast<uInt>(text.size() - end);
    result = inflate(&stream, Z_NO_FLUSH);
    text.resize(text.size() - stream.avail_out);
    if (text.size() > limit) {
      fail(kGzipLayer, "it decompresses to more than " + std::to_string(limit) + " bytes; see --limit");
    }
  }
  if (result == Z_BUF_ERROR) fail(kGzipLayer, "unexpected end" + place());
  if (result == Z_MEM_ERROR) throw Problem(kFailure, "there is not enough memory");
  if (result != Z_STREAM_END) fail(kGzipLayer, (stream.msg == nullptr ? "damaged data" : stream.msg) + place());
  if (stream.total_in != compressed.size()) fail(kGzipLayer, "more data after the end" + place());
  return text;
}

Json reportOf(std::string_view text) {
  constexpr int kDeepest = 100;
  try {
    return Json::parse(text, [](int depth, Json::parse_event_t, Json&) {
      if (depth > kDeepest) fail(kJsonLayer, "more than " + std::to_string(kDeepest) + " levels");
      return true;
    });
  } catch (const Json::parse_error& error) {
    fail(kJsonLayer, "unexpected text at byte " + std::to_string(error.byte == 0 ? 0 : error.byte - 1));
  }
}

}  // namespace sqmctl
