// sqm-fleet: simulates many clients of a collection server with the library, and prints the true figures at the end.

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/fleet/sim/Options.h"
#include "tools/fleet/sim/Posts.h"
#include "tools/fleet/sim/Truth.h"
#include "tools/fleet/sim/Worker.h"

namespace {

using namespace fleet;
using Json = nlohmann::ordered_json;

std::atomic<Stop> stop = Stop::no;
static_assert(std::atomic<Stop>::is_always_lock_free, "the handler of a signal sets it");

void stopSooner(int /*signal*/) { stop = stop == Stop::no ? Stop::soon : Stop::now; }

std::shared_ptr<const sqm::FieldNameTable> fieldNames() {
  const sqm::platform::StandardHost host;
  const auto path = host.mainBundle->pathForResource("SQMFieldNames", "plist");
  auto names = path ? host.propertyLists->fieldNamesOfFile(*path) : nullptr;
  if (!names) throw std::runtime_error("SQMFieldNames.plist is missing beside the program, or cannot be read");
  return names;
}

/// Watches the workers until they have ended: shows their progress, and stops them when no post is answered any more.
void watch(const Options& options, const Posts& posts, std::vector<std::future<std::size_t>>& workers) {
  const auto isDone = [](std::future<std::size_t>& worker) {
    return worker.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  };
  for (std::future<std::size_t>& worker : workers) {
    while (!isDone(worker)) {
      worker.wait_for(options.progress.value_or(std::chrono::seconds(1)));
      if (options.progress) std::fprintf(stderr, "%s\n", posts.progressJson().dump().c_str());
      if (Posts::Clock::now() - posts.lastAnswer() > options.patience && stop.exchange(Stop::now) != Stop::now) {
        std::fputs("sqm-fleet: the server does not answer\n", stderr);
      }
    }
  }
}

int run(const Options& options) {
  const World world(options.seed, options.clients);
  const auto names = fieldNames();
  Truth truth(world);
  Posts posts(options.answered);
  std::vector<std::future<std::size_t>> workers;
  for (std::size_t first = 0; first < options.threads; ++first) {
    workers.push_back(std::async(std::launch::async, [&, first] {
      Worker worker(options, static_cast<std::uint32_t>(first), world, names, truth, posts, stop);
      worker.run();
      return worker.waiting();
    }));
  }
  watch(options, posts, workers);
  std::size_t waiting = 0;
  for (std::future<std::size_t>& worker : workers) waiting += worker.get();

  Json figures = {{"clients", options.clients}, {"seed", options.seed}};
  figures.update(truth.json());
  figures["posts"] = posts.json();
  figures["waiting"] = waiting;
  std::printf("%s\n", figures.dump(2).c_str());
  return waiting == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (const int status = readOptions(argc, argv, options); status >= 0) return status;
  std::signal(SIGPIPE, SIG_IGN);
  for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, stopSooner);
  try {
    return run(options);
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "sqm-fleet: %s\n", problem.what());
    return 1;
  }
}
