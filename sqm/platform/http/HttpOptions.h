#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/platform/http/HttpExchange.h"

namespace sqm::platform {

/// Whose certificates are accepted, and the client's own. Files are PEM and are read for each new connection; a session
/// with a server that was accepted may be resumed without another check. TLS 1.2 is the least version in any case.
struct HttpTlsOptions {
  /// The authorities that are trusted. With a file, a folder or both, those of the system are not.
  std::string caFile = {};
  std::string caFolder = {};  ///< one file for each, with the names that `openssl rehash` gives
  /// Public keys of which the server must have one, as "sha256//" and the Base64 of the key's SHA-256 hash; several are
  /// separated by ";". The certificate is checked, too.
  std::string pinnedKeys = {};
  std::string certificateFile = {};  ///< the client's certificate and its chain; empty: none
  std::string keyFile = {};          ///< its private key; empty: in `certificateFile`
  std::string keyPassword = {};      ///< a secret
};

/// The proxy of all requests. With an address, the environment's proxies and exceptions do not count. A response with
/// status 407 is then an error: it is the proxy's, and the server does not have the request.
struct HttpProxyOptions {
  std::string address = {};   ///< "http://HOST:PORT"; empty: the proxy settings of the environment
  std::string user = {};      ///< for Basic authentication; empty: none
  std::string password = {};  ///< a secret
};

/// Returns further headers for a request to `address`, which has no user name and password.
///
/// A header without a name or a value, with a control character, or with a name that the client itself uses (those of
/// the content and the connection, `Host`, `User-Agent`, `Proxy-Authorization`) is never sent: the request ends in an
/// error that names the reason. So it does when the function throws. `Authorization` takes the place of the user name
/// and password in an address.
///
/// Threading: called on the main thread inside `sendHttpRequest`. It must not use or destroy the client or its
/// transactions.
using HttpHeaderSource = std::function<std::vector<HttpHeader>(std::string_view address)>;

/// What the client does beyond its defaults. A time limit of zero is no limit. An option that cannot be used, such as a
/// file that is missing, makes every request an error that names it, and nothing is sent. The values of secrets and of
/// headers are in no log, reason or exchange.
struct HttpOptions {
  /// Name look-up, connection and TLS handshake. Zero: five minutes.
  std::chrono::milliseconds connectLimit = std::chrono::seconds(30);
  /// No byte sent or received on an open connection, the wait for the response included. Accurate to a few seconds.
  std::chrono::seconds stallLimit = std::chrono::minutes(1);
  /// A kept-alive connection that was idle for longer is not used again: after a change of networks it may be dead.
  std::chrono::seconds idleLimit = std::chrono::seconds(5);
  /// The whole request: long enough for a large upload over a slow connection, which does not stall.
  std::chrono::milliseconds totalLimit = std::chrono::hours(1);
  /// Bytes of a response body that are kept. The rest is read and dropped; a response that never ends is ended by
  /// `totalLimit`.
  std::size_t bodyLimit = 1024 * 1024;
  /// Connections, and requests on them, at one time; at least 1. Further requests wait in a queue.
  std::size_t connectionBound = 8;
  /// The names of response headers of which the first value is kept.
  std::vector<std::string> keptHeaders = {};

  HttpTlsOptions tls = {};
  HttpProxyOptions proxy = {};
  /// Called for each request; a token that changes is a header of it.
  HttpHeaderSource headers = {};
  std::string userAgent = {};  ///< empty: the header is not sent
  /// Bodies of at least this many bytes are sent with `Content-Encoding: gzip`, unless that makes them longer; 0: none.
  /// The server must accept it. The HTTP thread compresses a body in one step, about 4 ms for each MiB, in which it
  /// carries no other transfer and does not end.
  std::size_t gzipFrom = 0;
};

}  // namespace sqm::platform
