// A client's process, which tools/dev/bench_footprint.py measures from outside: it loads the stored records, records
// events, uploads them when it is given an address, and ends. It prints the time and its memory at each step.

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"

#include "bench/Comparison.h"
#include "bench/Memory.h"

namespace {

/// Prints the step, the time in nanoseconds of the system's monotonic clock, and the memory in bytes.
void print(const char* step) {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  std::printf("%s %lld %zu\n", step, static_cast<long long>(std::chrono::nanoseconds(now).count()),
              bench::residentMemory());
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
  constexpr auto kPatience = std::chrono::milliseconds(200);
  constexpr std::int64_t kWiFi = 1;
  bench::require(argc == 4, "usage: bench_host HOME EVENTS ADDRESS");
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = argv[1];
  options.resourceDirectory = SQM_FIELD_NAMES_DIR;
  sqm::platform::StandardHost host(options);
  bench::require(host.makeFolders(), "the folders cannot be made");
  sqm::SQMManager manager(host);
  manager.setDeviceType(kWiFi);
  print("ready");

  sqm::SQMSessionParams params;
  for (std::int64_t key = 1; key <= 91; ++key) params.setStringValue("a value of some 29 characters", key);
  for (long events = std::atol(argv[2]); events > 0; --events) manager.sqmCreateStartRecord(&params);

  const std::string url = argv[3];
  if (!url.empty()) {
    for (const sqm::RecordType type : sqm::kRecordTypes) manager.setURL(type, url);
    manager.uploadSQM();
    print(host.runUntilIdle(kPatience) ? "uploaded" : "uploading");
  }
  print("ending");
  return 0;
}
