#include "bench/Comparison.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <string_view>
#include <utility>
#include <vector>

namespace bench {

namespace {

constexpr std::string_view kLimitSuffix = "/limit";

struct Comparison {
  std::string name;
  double aim;
};

std::vector<Comparison>& comparisons() {
  static std::vector<Comparison> list;
  return list;
}

/// Keeps the best time of every benchmark, and prints the comparisons at the end.
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
      double& best = best_.try_emplace(run.run_name.function_name, std::numeric_limits<double>::max()).first->second;
      best = std::min(best, run.real_accumulated_time / static_cast<double>(run.iterations));
    }
  }

  void Finalize() override {
    std::printf("%-52s %12s %12s %8s %8s\n", "", "time, us", "limit, us", "ratio", "aim");
    for (const Comparison& each : comparisons()) {
      const auto subject = best_.find(each.name);
      const auto limit = best_.find(each.name + std::string(kLimitSuffix));
      if (subject == best_.end() || limit == best_.end()) continue;
      std::printf("%-52s %12.2f %12.2f %8.2f %8.2f\n", each.name.c_str(), subject->second * 1e6, limit->second * 1e6,
                  subject->second / limit->second, each.aim);
    }
  }

  bool hasFailed() const { return hasFailed_; }

 private:
  std::map<std::string, double> best_;
  bool hasFailed_ = false;
};

}  // namespace

void compare(const std::string& name, double aim, Body subject, Body limit) {
  comparisons().push_back({name, aim});
  benchmark::RegisterBenchmark(name.c_str(), std::move(subject))->UseRealTime();
  benchmark::RegisterBenchmark((name + std::string(kLimitSuffix)).c_str(), std::move(limit))->UseRealTime();
}

int run(int argc, char** argv) {
  // Ours come first, so that the caller's win.
  std::vector<std::string> arguments = {argv[0], "--benchmark_repetitions=7", "--benchmark_min_time=0.05",
                                        "--benchmark_enable_random_interleaving=true"};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
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
  std::exit(1);
}

}  // namespace bench
