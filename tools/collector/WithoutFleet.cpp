// The build without SQM_BUILD_FLEET has no TLS, no metrics and no service page.

#include <stdexcept>

#include "tools/collector/http/Tls.h"
#include "tools/collector/metrics/Metrics.h"

namespace collector {

std::unique_ptr<Tls> makeTls(const TlsFiles& /*files*/, Counters& /*counters*/) {
  throw std::runtime_error("this build has no TLS: configure it with -DSQM_BUILD_FLEET=ON");
}

void addMetrics(HttpServer& /*server*/, const Services& /*services*/) {}

void addServiceRoutes(HttpServer& /*server*/, const Services& /*services*/) {}

}  // namespace collector
