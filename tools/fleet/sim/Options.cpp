#include "tools/fleet/sim/Options.h"

#include <CLI/CLI.hpp>
#include <cmath>

#include "tools/support/WallClock.h"

namespace fleet {

namespace {

constexpr int kBadInput = 2;

using std::chrono::seconds;

/// The moment of a date and time, which are GMT unless they say otherwise.
Time timeIn(const std::string& text) {
  const auto clock = tools::wallClockOf(text);
  if (!clock) throw CLI::ValidationError("--start", "'" + text + "' is not a time such as 2026-11-22T08:00:00Z");
  return Time(std::chrono::floor<seconds>(clock->time.time_since_epoch())) - clock->aheadOfGmt.value_or(seconds(0));
}

}  // namespace

int readOptions(int argc, char** argv, Options& options) {
  CLI::App program{
      "Simulates clients of a collection server with the SQM library: their days, their networks and what fails, the\n"
      "same for the same seed. At the end it prints the true figures as JSON.\n"};
  program.name("sqm-fleet");
  double days = 1;
  std::string start;
  std::int64_t patience = options.patience.count();
  program.add_option("--server", options.server, "Address of the collector, such as http://127.0.0.1:8080")
      ->type_name("URL")
      ->required();
  program.add_option("--clients", options.clients, "Simulated clients")
      ->check(CLI::Range(1, 10'000'000))
      ->capture_default_str();
  program.add_option("--seed", options.seed, "Chooses what happens")->capture_default_str();
  program.add_option("--days", days, "Length of the simulated time")
      ->check(CLI::Range(0.01, 3650.0))
      ->capture_default_str();
  program.add_option("--start", start, "Its begin, as 2026-11-22T08:00:00Z; without it, so long ago that it ends now")
      ->type_name("TIME");
  program.add_option("--speed", options.speed, "Simulated seconds in a second; 0: as fast as the server takes them")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  program
      .add_option("--token", options.token,
                  "Sent as 'Authorization: Bearer'; the environment does not show it to "
                  "other users, a command line does")
      ->envname("SQM_TOKEN");
  program.add_option("--ca-file", options.caFile, "Authorities that may have signed the server's certificate")
      ->type_name("FILE");
  program
      .add_option("--uploads", options.uploads, "Clients that upload at a time; while there are so many, time stops")
      ->check(CLI::Range(1, 10'000))
      ->capture_default_str();
  program.add_option("--threads", options.threads)->check(CLI::Range(1, 64))->capture_default_str();
  program.add_option("--patience", patience, "Give up after so many seconds without an answer")
      ->check(CLI::Range(1, 86'400))
      ->capture_default_str();
  program.add_option("--answered", options.answered, "Write each body that was answered into this file")
      ->type_name("FILE");
  program
      .add_option_function<double>(
          "--progress",
          [&](const double& interval) { options.progress = std::chrono::milliseconds(std::llround(interval * 1000)); },
          "Print the posts so far on standard error, this often")
      ->check(CLI::Range(0.1, 3600.0))
      ->type_name("SECONDS");
  try {
    program.parse(argc, argv);
    const auto length = seconds(std::llround(days * 86'400));
    const Time begin =
        start.empty() ? std::chrono::floor<seconds>(std::chrono::system_clock::now()) - length : timeIn(start);
    options.period = {begin, begin + length};
  } catch (const CLI::ParseError& error) {
    return program.exit(error) == 0 ? 0 : kBadInput;
  }
  options.patience = seconds(patience);
  if (options.server.ends_with('/')) options.server.pop_back();
  return -1;
}

}  // namespace fleet
