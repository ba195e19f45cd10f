#pragma once

#include <optional>
#include <string>

#include "tests/support/TemporaryFolder.h"
#include "tools/support/Process.h"

/// A PostgreSQL server of its own, in a temporary folder, reached by a socket there. It ends with this object. It runs
/// as the user nobody when the tests run as root, which PostgreSQL refuses.
class PostgresServer {
 public:
  PostgresServer();

  /// The one of this process.
  static PostgresServer& shared();

  /// Creates a database and returns its address.
  std::string createDatabase();

  /// The address of the database that is always there.
  std::string address(const std::string& database = "postgres") const;

 private:
  TemporaryFolder folder_;
  std::optional<tools::Process> process_;
  int databases_ = 0;
};
