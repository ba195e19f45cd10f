#include "tests/tools/storage/PostgresServer.h"

#include <chrono>
#include <filesystem>
#include <pwd.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>
#include <vector>

#include "tests/support/Paths.h"
#include "tests/support/Patience.h"
#include "tests/support/Programs.h"
#include "tools/collector/storage/Postgres.h"

namespace {

using collector::postgres::Connection;

constexpr const char* kUser = "nobody";
constexpr const char* kGroup = "nogroup";

/// The folder of the server's programs. Root's may be in a folder that no other user can read: they are then copied to
/// `copies`, with the files that they find by the way from their own folder, lib/postgresql/15/bin.
std::filesystem::path programs(const std::filesystem::path& copies) {
  std::filesystem::path own = std::filesystem::path(paths::postgres()).parent_path();
  if (::geteuid() != 0) return own;
  const std::filesystem::path version = own.parent_path().filename();
  const std::filesystem::path installed = own.parent_path().parent_path().parent_path().parent_path();
  for (const char* part : {"lib/postgresql", "share/postgresql"}) {
    std::filesystem::create_directories(copies / part);
    std::filesystem::copy(installed / part / version, copies / part / version,
                          std::filesystem::copy_options::recursive | std::filesystem::copy_options::copy_symlinks);
  }
  return copies / "lib/postgresql" / version / "bin";
}

/// The command line, as a user who may run the server.
std::vector<std::string> command(const std::vector<std::string>& words) {
  std::vector<std::string> line;
  if (::geteuid() == 0) {
    line = {"/usr/bin/setpriv", std::string("--reuid=") + kUser, std::string("--regid=") + kGroup, "--clear-groups",
            "--pdeathsig=KILL"};
  }
  line.insert(line.end(), words.begin(), words.end());
  return line;
}

}  // namespace

PostgresServer::PostgresServer() {
  const passwd* user = ::geteuid() == 0 ? ::getpwnam(kUser) : nullptr;  // NOLINT(concurrency-mt-unsafe): one thread
  if (user && ::chown(folder_.path().c_str(), user->pw_uid, user->pw_gid) != 0) {
    throw std::runtime_error("cannot give the folder to the user of PostgreSQL");
  }
  const std::filesystem::path server = programs(folder_ / "server");
  const std::string data = folder_ / "data";
  const Outcome made = runProgram(command({server / "initdb", "--pgdata", data, "--auth=trust", "--username=sqm",
                                           "--encoding=UTF8", "--locale=C", "--no-sync"}));
  if (made.status != 0) throw std::runtime_error("initdb failed: " + made.err);
  process_.emplace(
      command({server / "postgres", "-D", data, "-k", folder_.path(), "-c", "listen_addresses=", "-c", "fsync=off",
               "-c", "jit=off", "-c", "log_min_messages=fatal", "-c", "logging_collector=off"}),
      /*readsOutput=*/false, folder_ / "log");
  const auto until = std::chrono::steady_clock::now() + kPatience;
  for (;;) {
    try {
      const Connection connection(address());
      return;
    } catch (const collector::postgres::Error&) {  // it is still starting
      if (std::chrono::steady_clock::now() > until) throw;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
}

PostgresServer& PostgresServer::shared() {
  static PostgresServer server;
  return server;
}

std::string PostgresServer::address(const std::string& database) const {
  return "postgresql:///" + database + "?user=sqm&host=" + folder_.path();
}

std::string PostgresServer::createDatabase() {
  const std::string name = "test" + std::to_string(++databases_);
  Connection(address()).run("CREATE DATABASE " + name);
  return address(name);
}
