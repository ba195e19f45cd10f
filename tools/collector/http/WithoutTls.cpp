// The build without SQM_BUILD_FLEET has no TLS.

#include <stdexcept>

#include "tools/collector/http/Tls.h"

namespace collector {

std::unique_ptr<Tls> makeTls(const TlsFiles& /*files*/, Counters& /*counters*/) {
  throw std::runtime_error("this build has no TLS: configure it with -DSQM_BUILD_FLEET=ON");
}

}  // namespace collector
