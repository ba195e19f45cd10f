#include "bench/Comparison.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace bench {

namespace {

constexpr std::string_view kLimitSuffix = "/limit";

// Counters of each run in Google Benchmark's JSON, which tools/dev/bench.py reads.
constexpr const char* kAimCounter = "aim";
constexpr const char* kMedianCounter = "median";

struct Comparison {
  std::string name;
  Effort effort;
};

std::vector<Comparison>& comparisons() {
  static std::vector<Comparison> list;
  return list;
}

/// Collects the times of every benchmark, and prints the comparisons at the end.
class RatioReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", run.run_name.str().c_str(), run.error_message.c_str());
        hasFailed_ = true;
        continue;
      }
      times_[run.run_name.function_name].push_back(run.real_accumulated_time / static_cast<double>(run.iterations));
    }
  }

  void Finalize() override {
    std::printf("%-52s %12s %12s %8s %8s\n", "", "time, us", "limit, us", "ratio", "aim");
    for (const Comparison& each : comparisons()) {
      const auto subject = time(each.name, each.effort);
      const auto limit = time(each.name + std::string(kLimitSuffix), each.effort);
      if (!subject || !limit) continue;
      std::printf("%-52s %12.2f %12.2f %8.2f", each.name.c_str(), *subject * 1e6, *limit * 1e6, *subject / *limit);
      if (each.effort.aim) {
        std::printf(" %8.2f\n", *each.effort.aim);
      } else {
        std::printf(" %8s\n", "-");
      }
    }
  }

  bool hasFailed() const { return hasFailed_; }

 private:
  /// The benchmark's best or median time; nothing when it did not run.
  std::optional<double> time(const std::string& name, const Effort& effort) {
    const auto found = times_.find(name);
    if (found == times_.end()) return std::nullopt;
    std::vector<double>& times = found->second;
    std::sort(times.begin(), times.end());
    return effort.counts == Effort::Counts::median ? times[times.size() / 2] : times.front();
  }

  std::map<std::string, std::vector<double>> times_;
  bool hasFailed_ = false;
};

}  // namespace

void compare(const std::string& name, const Effort& effort, Body subject, Body limit) {
  comparisons().push_back({name, effort});
  for (const auto& [each, body] :
       {std::pair(name, std::move(subject)), {name + std::string(kLimitSuffix), std::move(limit)}}) {
    const auto marked = [body = body, effort](benchmark::State& state) {
      body(state);
      if (effort.aim) state.counters[kAimCounter] = *effort.aim;
      if (effort.counts == Effort::Counts::median) state.counters[kMedianCounter] = 1;
    };
    benchmark::internal::Benchmark* const registered =
        benchmark::RegisterBenchmark(each.c_str(), marked)->UseRealTime();
    if (effort.repetitions) registered->Repetitions(*effort.repetitions);
  }
}

int run(int argc, char** argv) {
  // The defaults come first: the caller's options override them. Repetitions are many and short, so that on a busy
  // machine some of them run without being preempted.
  std::vector<std::string> arguments = {argv[0], "--benchmark_repetitions=60", "--benchmark_min_time=0.002",
                                        "--benchmark_enable_random_interleaving=true"};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  std::vector<char*> pointers(arguments.size());
  std::transform(arguments.begin(), arguments.end(), pointers.begin(), [](std::string& each) { return each.data(); });
  int count = static_cast<int>(pointers.size());
  benchmark::Initialize(&count, pointers.data());
  if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) return 2;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return reporter.hasFailed() ? 1 : 0;
}

void require(bool isDone, const char* what) {
  if (isDone) return;
  std::fprintf(stderr, "benchmark: %s\n", what);
  std::abort();
}

}  // namespace bench
