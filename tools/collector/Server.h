#pragma once

#include "tools/collector/Database.h"
#include "tools/collector/Events.h"
#include "tools/collector/Faults.h"
#include "tools/collector/HttpServer.h"

namespace collector {

/// What the collection server is made of.
struct Services {
  Database& database;
  Faults& faults;
  Events& events;
  bool isQuiet;
  bool isForThisMachine;  ///< nobody else is to read what is kept
};

/// Adds the collector's interface to the server: what keeps requests, and what tells of them. The services must outlive
/// the server.
void addRoutes(HttpServer& server, const Services& services);

}  // namespace collector
