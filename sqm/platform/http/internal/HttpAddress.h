#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace sqm::platform {

/// An address that requests can be sent to.
struct HttpAddress {
  std::string url;      ///< as it goes to libcurl: ASCII alone in path and query
  std::string shownAs;  ///< the same without user name and password: fit for a log
};

/// Nothing when `text` is no http or https address, or holds a blank or a control character, with which it could add
/// lines of its own to the request. Bytes of its path and query that are not ASCII are percent-encoded (RFC 3987,
/// section 3.1).
std::optional<HttpAddress> parseHttpAddress(std::string_view text);

}  // namespace sqm::platform
