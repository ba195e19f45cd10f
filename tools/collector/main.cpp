// sqm-collector: a collection server. It keeps every request, splits it into records, and serves both; it can simulate
// failures of servers and networks.

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
#include "tools/collector/storage/Migration.h"

namespace {

using namespace collector;

/// A descriptor that becomes readable when the process gets one of the signals that it handles. Called before any
/// thread starts, so that no thread is interrupted.
int signalDescriptor() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

void printAddress(const char* scheme, const std::string& address, int port) {
  const bool isIpv6 = address.find(':') != std::string::npos;
  std::printf("%s://%s%s%s:%d/\n", scheme, isIpv6 ? "[" : "", address.c_str(), isIpv6 ? "]" : "", port);
  std::fflush(stdout);
}

/// Raises the limit of open files as far as this user may: each connection needs one.
void allowManyFiles() {
  rlimit files{};
  if (getrlimit(RLIMIT_NOFILE, &files) != 0) return;
  files.rlim_cur = files.rlim_max;
  setrlimit(RLIMIT_NOFILE, &files);
}

/// The files that an operator may change while the server runs.
class ReadAgain {
 public:
  ReadAgain(const Options& options, Counters& counters) : counters_(counters) {
    if (!options.tokenFile.empty()) tokens_ = std::make_unique<TokenFile>(options.tokenFile);
    if (!options.tls.certificate.empty()) tls_ = makeTls(options.tls, counters);
  }

  /// Reads the files again. One that cannot be used leaves in force what is.
  void reload() {
    reload(tokens_.get());
    reload(tls_.get());
  }

  const TokenFile* tokens() const { return tokens_.get(); }
  Tls* tls() const { return tls_.get(); }

 private:
  void reload(auto* file) {
    if (file == nullptr) return;
    try {
      file->reload();
      counters_.add(Count::reloads);
    } catch (const std::runtime_error& error) {
      counters_.warn(Count::reloadsFailed, std::string(error.what()) + "; what was read before stays in force");
    }
  }

  Counters& counters_;
  std::unique_ptr<TokenFile> tokens_;
  std::unique_ptr<Tls> tls_;
};

void run(const Options& options) {
  const int signals = signalDescriptor();
  allowManyFiles();
  Counters counters;
  ReadAgain files(options, counters);
  const auto storage = openStorage(options.storage, options.fields);
  Keeper keeper(*storage, options.fields, options.keeping);
  Faults faults(options.faults);
  Events events(options.watchers);
  HttpServer server(options.limits, counters);
  addRoutes(server, {*storage, keeper, faults, events, counters, files.tokens(), files.tls(), options.isQuiet,
                     isLoopback(options.address)});
  const int port = server.listenOn(options.address, options.port);
  printAddress(files.tls() != nullptr ? "https" : "http", options.address, port);
  const auto onSignal = [&] {
    signalfd_siginfo signal{};
    if (read(signals, &signal, sizeof signal) != sizeof signal) return true;
    if (signal.ssi_signo != SIGHUP) return false;
    files.reload();
    return true;
  };
  const auto onStop = [&] {
    events.end();
    keeper.end();
  };
  const auto makeChannel = [&](int socket) {
    return files.tls() != nullptr ? files.tls()->makeChannel(socket) : std::make_unique<Channel>(socket);
  };
  server.run(signals, onSignal, onStop, makeChannel);
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (const int status = readOptions(argc, argv, options); status >= 0) return status;
  umask(S_IRWXG | S_IRWXO);  // the data of clients is for this user only
  std::signal(SIGPIPE, SIG_IGN);
  try {
    options.migrateFrom.empty() ? run(options) : migrate(options.migrateFrom, options.storage, options.fields);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "sqm-collector: %s\n", error.what());
    return 1;
  }
}
