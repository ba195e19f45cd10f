#pragma once

#include <string_view>

#include "tools/collector/Counters.h"
#include "tools/collector/Events.h"
#include "tools/collector/Faults.h"
#include "tools/collector/http/HttpServer.h"
#include "tools/collector/http/Tls.h"
#include "tools/collector/http/Tokens.h"
#include "tools/collector/storage/Keeper.h"
#include "tools/collector/storage/Storage.h"

namespace collector {

/// The parts of the collection server.
struct Services {
  Storage& storage;
  Keeper& keeper;
  Faults& faults;
  Events& events;
  Counters& counters;
  const TokenFile* tokens;  ///< null: no token is needed
  const Tls* tls;           ///< null: there is none
  bool isQuiet;
  bool isForThisMachine;  ///< other machines must not read the data
};

/// Adds the collector's routes to the server. The services must outlive the server.
void addRoutes(HttpServer& server, const Services& services);

/// Adds those of POST and PUT: they keep requests, and set the faults.
void addKeeping(HttpServer& server, const Services& services);

/// Adds GET /_service: the figures of the service page as JSON. Its parameters are those of `serviceQueryOf`. One
/// report is made at a time; others wait. A server that is not built for a fleet has no such route.
void addServiceRoutes(HttpServer& server, const Services& services);

/// True for a path of the collector itself, below "/_". A body sent to any other path is kept.
inline bool isOwn(std::string_view path) { return path.starts_with("/_"); }

}  // namespace collector
