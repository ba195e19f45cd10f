#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sqm::platform {

/// An address that requests can be sent to.
struct HttpAddress {
  std::string url;      ///< for libcurl: path and query are ASCII
  std::string shownAs;  ///< the same without user name and password, for logs
};

/// Nothing when `text` is not an http or https address, or contains a blank or a control character, which could add
/// lines to the request. Bytes of its path and query that are not ASCII are percent-encoded (RFC 3987, section 3.1).
std::optional<HttpAddress> parseHttpAddress(std::string_view text);

}  // namespace sqm::platform
