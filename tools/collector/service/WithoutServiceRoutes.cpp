// A server that is not built for a fleet has no service page.

#include "tools/collector/Server.h"

namespace collector {

void addServiceRoutes(HttpServer& /*server*/, const Services& /*services*/) {}

}  // namespace collector
