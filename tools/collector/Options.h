#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/collector/Faults.h"
#include "tools/collector/http/Connection.h"
#include "tools/collector/http/Tls.h"
#include "tools/collector/service/FieldMapping.h"
#include "tools/collector/storage/Keeper.h"
#include "tools/collector/storage/Storage.h"

namespace collector {

/// The options of the command line.
struct Options {
  std::string address = "127.0.0.1";  // other machines cannot reach it
  int port = 8080;
  StorageOptions storage;
  std::string migrateFrom;  ///< not empty: copy this database to `storage`, and end
  Keeper::Limits keeping;
  std::vector<FaultRule> faults;
  FieldMapping fields;
  Limits limits;
  std::size_t watchers = 32;
  std::string tokenFile;  ///< empty: no token is needed
  TlsFiles tls;           ///< empty: no TLS
  bool isOpen = false;    ///< serves other machines without a token
  bool isQuiet = false;
};

/// Reads the command line. Returns -1 when the program must run. Otherwise it returns the exit status of the program; a
/// message has then been printed, and `options` must not be used.
int readOptions(int argc, char** argv, Options& options);

}  // namespace collector
