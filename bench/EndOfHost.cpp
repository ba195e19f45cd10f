// How long the end of a host takes while its server holds an upload. Prints, for each kind of server, the median and
// the longest time of its destruction in milliseconds, the saving of the lists included. In the first TLS handshake of
// a client libcurl reads the system's certificates, which is waited for.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"

#include "tests/platform/http/BadServers.h"
#include "tools/support/TemporaryFolder.h"

namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

/// Starts an upload, and ends the host once the server has the request.
Milliseconds timeToEnd(const sqm::tests::BadServerKind& kind) {
  const tools::TemporaryFolder home;
  const sqm::tests::BadServer server = kind.start();
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = home.path();
  options.resourceDirectory = home.path();
  auto host = std::make_unique<sqm::platform::StandardHost>(options);
  if (!host->makeFolders()) throw std::runtime_error("the folders cannot be made");
  auto manager = std::make_unique<sqm::SQMManager>(*host);
  manager->SetSQMConnectionURL(server.url);
  manager->uploadSQM();
  server.waitUntilReached();

  const auto start = std::chrono::steady_clock::now();
  manager.reset();
  host.reset();
  return std::chrono::steady_clock::now() - start;
}

}  // namespace

int main() {
  constexpr std::size_t kRounds = 50;
  std::printf("%-28s %10s %10s\n", "the server", "median ms", "longest ms");
  for (const sqm::tests::BadServerKind& kind : sqm::tests::badServers()) {
    std::vector<Milliseconds> times;
    while (times.size() < kRounds) times.push_back(timeToEnd(kind));
    std::ranges::sort(times);
    std::printf("%-28s %10.1f %10.1f\n", kind.name, times[kRounds / 2].count(), times.back().count());
  }
  return 0;
}
