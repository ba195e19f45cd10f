#include "tools/sqmctl/Sending.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <strings.h>

#include "sqm/platform/system/RunLoop.h"

namespace sqmctl {

namespace {

sqm::platform::StandardHost::Options optionsFor(const std::string& home) {
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = home;
  return options;
}

}  // namespace

SendingHost::SendingHost(const std::string& home)
    : host_(optionsFor(home)),
      httpLogs_([this](const sqm::LogLine& line) { hearHttp(line); }, host_.logFiles),
      http_(host_.runLoop(), *host_.notificationCenter, httpLogs_),
      lists_(reportedProblems(), {.atomicSaves = true}),
      archives_(reportedProblems()) {
  host_.httpTransactions = &http_;
  host_.propertyLists = &lists_;
  host_.serializer = &archives_;
  host_.console = &console_;  // it would be told the documents, and the names of deleted files
}

sqm::platform::FileProblems SendingHost::reportedProblems() {
  return {*host_.logFiles,
          [this](const sqm::platform::FileProblem& problem) { fileProblems_.push_back(textOf(problem)); }};
}

bool SendingHost::runUntilIdle(double seconds) {
  const auto timeout = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
  return host_.runLoop().runUntilIdle([this] { return isIdle(); }, timeout);
}

/// The line on an outcome holds the session, the number of the request, the outcome, the milliseconds and the bytes.
void SendingHost::hearHttp(const sqm::LogLine& line) {
  constexpr std::size_t kOutcome = 2;
  constexpr std::size_t kMilliseconds = 3;
  constexpr std::string_view kOutcomes[] = {"status ", "error: ", "time-out: "};
  if (line.arguments.size() <= kMilliseconds || !tellExchange_) return;
  const std::string outcome(line.arguments[kOutcome]);
  const bool isOutcome = std::any_of(std::begin(kOutcomes), std::end(kOutcomes),
                                     [&](std::string_view begin) { return outcome.starts_with(begin); });
  if (!isOutcome) return;
  tellExchange_({outcome, std::strtod(std::string(line.arguments[kMilliseconds]).c_str(), nullptr) / 1000});
}

std::string secondsText(double seconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f s", seconds);
  return text;
}

void addTimeout(CLI::App& command, double& seconds) {
  constexpr double kShortest = 0.001;
  constexpr double kLongest = 1e6;
  command
      .add_option("--timeout", seconds, "Seconds until it gives up (default: " + CLI::detail::to_string(seconds) + ")")
      ->option_text("SECONDS")
      ->check(CLI::Range(kShortest, kLongest));
}

std::string addressProblem(const std::string& address) {
  for (const std::string_view scheme : {"http://", "https://"}) {
    const bool isBlank = std::any_of(address.begin(), address.end(),
                                     [](char c) { return static_cast<unsigned char>(c) <= 0x20 || c == 0x7F; });
    const bool isScheme = ::strncasecmp(address.c_str(), scheme.data(), scheme.size()) == 0;
    if (isScheme && address.size() > scheme.size() && address[scheme.size()] != '/' && !isBlank) {
      return {};
    }
  }
  return "'" + address + "' is no address to post to; it would be like http://127.0.0.1:8080/path";
}

}  // namespace sqmctl
