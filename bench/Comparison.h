#pragma once

#include <functional>
#include <string>

#include <benchmark/benchmark.h>

namespace bench {

using Body = std::function<void(benchmark::State&)>;

/// Registers two benchmarks that run in turn: what the library does, and the limit, the least that must be done for the
/// same result. `aim` is the ratio of their times that the library is built for.
void compare(const std::string& name, double aim, Body subject, Body limit);

/// Runs what is registered, each several times and mixed with the others, and prints the best time of each with its
/// ratio to its limit. Takes the options of Google Benchmark.
int run(int argc, char** argv);

/// Stops in a benchmark that could not do its work.
void require(bool isDone, const char* what);

}  // namespace bench
