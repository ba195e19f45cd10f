#include "sqm/platform/http/internal/HttpAddress.h"

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include <curl/curl.h>

namespace sqm::platform {

namespace {

constexpr std::array<std::string_view, 2> kSchemes = {"http://", "https://"};

bool isBlankOrControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte <= 0x20 || byte == 0x7F;
}

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// libcurl also accepts one slash, or three.
bool beginsWithScheme(std::string_view text) {
  return std::ranges::any_of(kSchemes, [&](std::string_view scheme) {
    return text.size() > scheme.size() && text[scheme.size()] != '/' &&
           std::ranges::equal(text.substr(0, scheme.size()), scheme, {}, lowered);
  });
}

std::optional<std::string> urlText(CURLU* parts) {
  char* text = nullptr;
  if (curl_url_get(parts, CURLUPART_URL, &text, 0) != CURLUE_OK) return std::nullopt;
  const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
  return std::string(text);
}

}  // namespace

std::optional<HttpAddress> parseHttpAddress(std::string_view text) {
  if (!beginsWithScheme(text) || std::ranges::any_of(text, isBlankOrControl)) return std::nullopt;

  const std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> parts(curl_url(), curl_url_cleanup);
  if (!parts) return std::nullopt;
  if (curl_url_set(parts.get(), CURLUPART_URL, std::string(text).c_str(), CURLU_URLENCODE) != CURLUE_OK) {
    return std::nullopt;
  }
  auto url = urlText(parts.get());
  curl_url_set(parts.get(), CURLUPART_USER, nullptr, 0);
  curl_url_set(parts.get(), CURLUPART_PASSWORD, nullptr, 0);
  auto shownAs = urlText(parts.get());
  if (!url || !shownAs) return std::nullopt;
  return HttpAddress{std::move(*url), std::move(*shownAs)};
}

}  // namespace sqm::platform
