#include "sqm/platform/http/internal/HttpProblems.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <string_view>
#include <strings.h>
#include <system_error>
#include <unistd.h>

#include "sqm/platform/http/internal/HttpAddress.h"

namespace sqm::platform {

namespace {

/// The headers that the client sets. Another value would change where a request ends, whom it is for, or what it holds.
constexpr std::array kOwnHeaders = {
    "host",       "content-type", "content-length",      "content-encoding", "transfer-encoding",
    "connection", "keep-alive",   "proxy-connection",    "upgrade",          "te",
    "trailer",    "expect",       "proxy-authorization", "user-agent",
};

bool isLetterOrDigit(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); }
bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }

/// RFC 9110, section 5.6.2: a character of a token.
bool isTokenCharacter(char c) {
  constexpr std::string_view kMarks = "!#$%&'*+-.^_`|~";
  return isLetterOrDigit(c) || kMarks.find(c) != std::string_view::npos;
}

/// Base64 of 32 bytes after "sha256//". libcurl takes any other text for the name of a file.
bool isPin(std::string_view text) {
  constexpr std::string_view kBegin = "sha256//";
  constexpr std::size_t kLength = 44;
  if (!text.starts_with(kBegin) || text.size() != kBegin.size() + kLength || text.back() != '=') return false;
  text.remove_prefix(kBegin.size());
  text.remove_suffix(1);
  return std::ranges::all_of(text, [](char c) { return isLetterOrDigit(c) || c == '+' || c == '/'; });
}

bool arePins(std::string_view text) {
  for (;;) {
    const std::size_t end = text.find(';');
    if (!isPin(text.substr(0, end))) return false;
    if (end == std::string_view::npos) return true;
    text.remove_prefix(end + 1);
  }
}

/// The port is required: libcurl's own for proxies is 1080.
bool isProxyAddress(std::string_view text) {
  const auto address = parseHttpAddress(text);
  constexpr std::string_view kScheme = "http://";
  if (!address || address->url != address->shownAs || !address->url.starts_with(kScheme)) return false;
  const std::string host = address->url.substr(kScheme.size(), address->url.find('/', kScheme.size()) - kScheme.size());
  return host.rfind(':') != std::string::npos && !host.ends_with(']');
}

/// A text of the options.
struct Text {
  enum class Kind : std::uint8_t { value, file, folder };
  const char* name = "";
  const std::string& text;
  Kind kind = Kind::value;
};

std::string problemOf(const Text& option) {
  if (option.text.empty()) return {};
  if (std::ranges::any_of(option.text, isControl)) return std::string(option.name) + " has a control character";
  if (option.kind == Text::Kind::value) return {};
  const std::string path = option.kind == Text::Kind::folder ? option.text + "/" : option.text;
  if (::access(path.c_str(), R_OK) == 0) return {};
  const std::string reason = std::generic_category().message(errno);
  return std::string(option.name).append(" ").append(path).append(" cannot be read: ").append(reason);
}

}  // namespace

std::string problemOf(const HttpOptions& options) {
  using enum Text::Kind;
  const HttpTlsOptions& tls = options.tls;
  const HttpProxyOptions& proxy = options.proxy;
  for (const Text& text :
       {Text{"tls.caFile", tls.caFile, file}, Text{"tls.caFolder", tls.caFolder, folder},
        Text{"tls.certificateFile", tls.certificateFile, file}, Text{"tls.keyFile", tls.keyFile, file},
        Text{"tls.keyPassword", tls.keyPassword}, Text{"proxy.user", proxy.user},
        Text{"proxy.password", proxy.password}, Text{"userAgent", options.userAgent}}) {
    if (auto problem = problemOf(text); !problem.empty()) return problem;
  }
  if (!tls.pinnedKeys.empty() && !arePins(tls.pinnedKeys)) return "tls.pinnedKeys is not of the form sha256//BASE64";
  if (tls.certificateFile.empty() && !tls.keyFile.empty()) return "tls.keyFile has no tls.certificateFile";
  if (!proxy.address.empty() && !isProxyAddress(proxy.address)) {
    return "proxy.address is not of the form http://HOST:PORT";
  }
  if (proxy.address.empty() && !proxy.user.empty()) return "proxy.user has no proxy.address";
  if (proxy.user.find(':') != std::string::npos) return "proxy.user has a colon";  // RFC 7617, section 2
  return {};
}

std::string problemOf(const HttpHeader& header) {
  if (header.name.empty() || !std::ranges::all_of(header.name, isTokenCharacter)) {
    return "a header's name is empty, or has a character that names do not have";
  }
  const auto isName = [&](const char* own) { return ::strcasecmp(own, header.name.c_str()) == 0; };
  if (std::ranges::any_of(kOwnHeaders, isName)) return "the header " + header.name + " is set by the client itself";
  if (std::ranges::any_of(header.value, isControl)) return "the header " + header.name + " has a control character";
  if (header.value.find_first_not_of(' ') == std::string::npos) return "the header " + header.name + " has no value";
  return {};
}

}  // namespace sqm::platform
