// sqm-collector: a collection server for development and demonstration. It keeps every request, splits it into records,
// and serves both; it can simulate failures of servers and networks.

#include <csignal>
#include <cstdio>
#include <exception>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/collector/HostNames.h"
#include "tools/collector/Options.h"
#include "tools/collector/Server.h"

namespace {

using namespace collector;

/// A descriptor that becomes readable when the process is asked to end. Called before any thread starts, so that no
/// thread is interrupted.
int stopDescriptor() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

void printAddress(const std::string& address, int port) {
  const bool isIpv6 = address.find(':') != std::string::npos;
  std::printf("http://%s%s%s:%d/\n", isIpv6 ? "[" : "", address.c_str(), isIpv6 ? "]" : "", port);
  std::fflush(stdout);
}

void run(const Options& options) {
  const int stop = stopDescriptor();
  Database database(options.database, options.mostRequests);
  Faults faults(options.faults);
  Events events(options.watchers);
  HttpServer server(options.limits);
  addRoutes(server, {database, faults, events, options.isQuiet, isLoopback(options.address)});
  printAddress(options.address, server.listenOn(options.address, options.port));
  server.run(stop, [&] { events.end(); });
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (const int status = readOptions(argc, argv, options); status >= 0) return status;
  umask(S_IRWXG | S_IRWXO);  // the data of clients is for this user only
  std::signal(SIGPIPE, SIG_IGN);
  try {
    run(options);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "sqm-collector: %s\n", error.what());
    return 1;
  }
}
