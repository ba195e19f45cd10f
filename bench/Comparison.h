#pragma once

#include <functional>
#include <optional>
#include <string>

#include <benchmark/benchmark.h>

namespace bench {

using Body = std::function<void(benchmark::State&)>;

struct Effort {
  /// The ratio to the limit that the library is built for; nothing for a figure that is there to be known.
  std::optional<double> aim;
  /// How often both are measured; nothing for as often as all that are short.
  std::optional<int> repetitions = {};
  /// Which of the times counts: where the time is a disk's, the best is a lucky one.
  enum class Counts { best, median } counts = Counts::best;
};

/// Registers two benchmarks that run in turn: what the library does, and the limit, the least that must be done for the
/// same result.
void compare(const std::string& name, const Effort& effort, Body subject, Body limit);

/// Runs what is registered, each several times and mixed with the others, and prints the best time of each (or the
/// median) with its ratio to its limit. Takes the options of Google Benchmark.
int run(int argc, char** argv);

/// Stops in a benchmark that could not do its work.
void require(bool isDone, const char* what);

}  // namespace bench
