#pragma once

#include <functional>
#include <optional>
#include <string>

#include <benchmark/benchmark.h>

namespace bench {

using Body = std::function<void(benchmark::State&)>;

struct Effort {
  /// The ratio to the limit that the library aims at; nothing for a figure without an aim.
  std::optional<double> aim;
  /// How often both are measured; nothing for the default of `run`.
  std::optional<int> repetitions = {};
  /// Which of the times is reported. For a benchmark of the disk it is the median: disk times vary.
  enum class Counts { best, median } counts = Counts::best;
};

/// Registers two benchmarks: the library's operation, and the limit, which is the least work for the same result.
void compare(const std::string& name, const Effort& effort, Body subject, Body limit);

/// Runs the registered benchmarks, each several times and in random order, and prints the best or the median time of
/// each with its ratio to its limit. Takes the options of Google Benchmark; --benchmark_out=FILE writes the times of
/// all repetitions, each with its aim, as JSON.
int run(int argc, char** argv);

/// Ends the program, with a message, when a benchmark could not do its work.
void require(bool isDone, const char* what);

}  // namespace bench
