// sqm-collector: a collection server for development and demonstration. It keeps every request, splits it into records,
// and serves both; it can simulate failures of servers and networks.

#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/collector/Options.h"
#include "tools/collector/Server.h"
#include "tools/collector/http/HostNames.h"

namespace {

using namespace collector;

/// A descriptor that becomes readable when the process gets one of the signals that it handles. Called before any
/// thread starts, so that no thread is interrupted.
int signalDescriptor() {
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

/// Raises the limit of open files as far as this user may: each connection needs one.
void allowManyFiles() {
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) != 0) return;
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
}

void run(const Options& options) {
  const int signals = signalDescriptor();
  allowManyFiles();
  const auto storage = openStorage(options.storage);
  Keeper keeper(*storage, options.keeping);
  Faults faults(options.faults);
  Events events(options.watchers);
  Counters counters;
  HttpServer server(options.limits, counters);
  addRoutes(server, {*storage, keeper, faults, events, counters, options.isQuiet, isLoopback(options.address)});
  printAddress(options.address, server.listenOn(options.address, options.port));
  const auto onSignal = [] { return false; };
  const auto onStop = [&] {
    events.end();
    keeper.end();
  };
  const auto makeChannel = [](int socket) { return std::make_unique<Channel>(socket); };
  server.run(signals, onSignal, onStop, makeChannel);
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
