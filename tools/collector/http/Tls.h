#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tools/collector/Counters.h"
#include "tools/collector/http/Channel.h"

namespace collector {

/// The files of the server's certificate, with its chain, and of its private key: both PEM.
struct TlsFiles {
  std::string certificate;
  std::string key;
};

/// TLS for the connections that are accepted.
///
/// Threading: any thread.
class Tls {
 public:
  Tls() = default;
  Tls(const Tls&) = delete;
  Tls& operator=(const Tls&) = delete;
  virtual ~Tls() = default;

  /// Reads the files again, for the connections that come. Throws std::runtime_error, and nothing has then changed.
  virtual void reload() = 0;

  virtual std::unique_ptr<Channel> makeChannel(int socket) = 0;

  /// When the certificate expires, in seconds since 1970.
  virtual std::int64_t expiry() const = 0;
};

/// Throws std::runtime_error when the files cannot be used, and in a build without SQM_BUILD_FLEET.
std::unique_ptr<Tls> makeTls(const TlsFiles& files, Counters& counters);

}  // namespace collector
