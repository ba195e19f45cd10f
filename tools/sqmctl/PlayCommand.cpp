#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/play/FixedEnvironment.h"
#include "tools/sqmctl/play/Lines.h"
#include "tools/sqmctl/play/Player.h"
#include "tools/sqmctl/play/Scenario.h"

namespace sqmctl {

namespace {

struct PlayOptions {
  std::string file;
  play::EnvironmentOptions environment;
};

constexpr struct {
  const char* name;
  std::optional<std::string> play::EnvironmentOptions::*value;
  const char* what;
  const char* description;
} kEnvironment[] = {
    {"--locale", &play::EnvironmentOptions::locale, "ID", "The user's locale, such as en_GB"},
    {"--os", &play::EnvironmentOptions::os, "NAME", "The operating system's name"},
    {"--os-version", &play::EnvironmentOptions::osVersion, "TEXT", "The operating system's version"},
    {"--time", &play::EnvironmentOptions::time, "ISO8601",
     "The time of a standing clock, such as 2026-11-21T10:00:00Z; the operation `advance` moves it"},
    {"--zone", &play::EnvironmentOptions::zone, "IANA", "The time zone, such as Europe/Berlin"},
};

/// The options are accepted before the subcommand and after it.
void addEnvironment(CLI::App& app, PlayOptions& options, const std::string& group) {
  for (const auto& each : kEnvironment) {
    app.add_option_function<std::string>(
           each.name, [&options, value = each.value](const std::string& text) { options.environment.*value = text; },
           each.description)
        ->type_name(each.what)
        ->group(group);
  }
}

bool hasEnvironment(const play::EnvironmentOptions& environment) {
  return std::any_of(std::begin(kEnvironment), std::end(kEnvironment),
                     [&](const auto& each) { return (environment.*each.value).has_value(); });
}

/// Opens the standard descriptors that are closed, so that no file opened later becomes a standard stream.
void occupyStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // `open` takes the lowest free descriptor, which is this one. It is opened for the opposite direction, so that its
    // use fails, as the use of a closed descriptor does.
    const int flags = descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY;
    if (::fcntl(descriptor, F_GETFD) < 0) static_cast<void>(::open("/dev/null", flags));
  }
}

std::string placeOf(const std::string& file, const play::Scenario& scenario) {
  return file + ":" + std::to_string(scenario.line()) + ": ";
}

/// Checks the whole scenario. Writes the fault of each invalid line to standard error. Returns true when there is none.
bool isValid(const std::string& file, play::Scenario& scenario) {
  bool valid = true;
  while (const auto step = scenario.next()) {
    if (step->fault.empty()) continue;
    valid = false;
    std::fprintf(stderr, "%s%s\n", placeOf(file, scenario).c_str(), step->fault.c_str());
  }
  return valid;
}

/// Writes the result line of one operation to standard output, unbuffered, so that its reader can follow the run.
void writeResult(std::size_t line, std::string_view operation, play::Result result) {
  constexpr int kCompact = -1;
  const play::Result object = {{"line", line}, {"do", operation}, {"result", std::move(result)}};
  const std::string text = object.dump(kCompact, ' ', false, play::Result::error_handler_t::replace) + "\n";
  if (!play::writeAll(STDOUT_FILENO, text)) throw Problem(kFailure, "cannot write standard output: " + lastReason());
}

void run(const std::string& file, play::Scenario& scenario, play::Player& player) {
  while (const auto step = scenario.next()) {
    if (!step->fault.empty()) {
      throw Problem(kFailure, placeOf(file, scenario) + step->fault + "; the file has changed since it was checked");
    }
    play::Result result;
    try {
      result = step->operation->run(player, play::Arguments(step->arguments));
    } catch (const std::exception& problem) {
      throw Problem(kFailure, placeOf(file, scenario) + std::string(step->operation->name) + ": " + problem.what());
    }
    writeResult(scenario.line(), step->operation->name, std::move(result));
  }
}

int runPlay(const Invocation& invocation, const PlayOptions& options) {
  std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is reported by `write`
  occupyStandardDescriptors();
  play::FixedEnvironment environment(options.environment);
  if (!invocation.resources.empty() && !std::filesystem::is_directory(invocation.resources)) {
    throw Problem(kBadInput, "--resources: no such folder: " + invocation.resources);
  }
  play::Scenario scenario(options.file, environment.clock() != nullptr);
  if (!isValid(options.file, scenario)) return kBadInput;
  scenario.rewind();
  play::Player player(invocation, environment);
  run(options.file, scenario, player);
  return kSuccess;
}

}  // namespace

void addPlay(CLI::App& program, Invocation& invocation) {
  const auto options = std::make_shared<PlayOptions>();
  CLI::App* play = program.add_subcommand("play", "Runs the operations of a scenario file");
  play->fallthrough();
  play->add_option("FILE", options->file, "The scenario, with one operation per line as JSON; - means standard input")
      ->required();
  addEnvironment(*play, *options, "Values that replace the machine's own");
  addEnvironment(program, *options, /*group: not shown*/ "");
  play->callback([&invocation, options] { invocation.status = runPlay(invocation, *options); });
  program.parse_complete_callback([play, options] {
    if (!play->parsed() && hasEnvironment(options->environment)) {
      throw Problem(kBadInput, "--locale, --os, --os-version, --time and --zone belong to the subcommand play");
    }
  });
}

}  // namespace sqmctl
