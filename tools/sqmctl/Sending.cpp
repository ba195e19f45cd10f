#include "tools/sqmctl/Sending.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <utility>

#include "sqm/common/HttpTransaction.h"
#include "sqm/platform/http/internal/HttpAddress.h"

namespace sqmctl {

using std::chrono::milliseconds;
using Seconds = std::chrono::duration<double>;

SendingHost::SendingHost(const std::string& home, sqm::platform::HttpExchangeObserver onExchange)
    : host_(options(home, std::move(onExchange))) {
  fileProblems_.clear();  // of the preferences, which no command here uses
}

sqm::platform::StandardHost::Options SendingHost::options(const std::string& home,
                                                          sqm::platform::HttpExchangeObserver onExchange) {
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = home;
  options.atomicSaves = true;
  options.onFileProblem = [this](const sqm::platform::FileProblem& problem) {
    fileProblems_.push_back(textOf(problem));
  };
  options.onHttpExchange = std::move(onExchange);
  options.services.console = &console_;
  return options;
}

std::string secondsText(milliseconds time) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f s", Seconds(time).count());
  return text;
}

std::string printExchange(tools::Terminal& terminal, const std::string& row,
                          const sqm::platform::HttpExchange& exchange, const std::string& removed) {
  const bool isTaken = exchange.status == sqm::kHttpStatusOk;
  terminal.passing("");
  terminal.line(terminal.shown("  " + row + "  " + secondsText(exchange.elapsed) + "  ") +
                terminal.styled(isTaken ? tools::Style::good : tools::Style::bad, textOf(exchange)));
  if (isTaken || exchange.outcome != sqm::platform::HttpOutcome::completed) return textOf(exchange);
  return "the server answered with " + textOf(exchange) + "; only 200 removes " + removed;
}

void addUrl(CLI::App& command, std::string& url) {
  command.add_option("URL", url, "The address to post to")->option_text(" ")->required()->check(addressProblem);
}

void addTimeout(CLI::App& command, milliseconds& timeout) {
  constexpr double kShortest = 0.001;
  constexpr double kLongest = 1e6;
  command
      .add_option_function<double>(
          "--timeout", [&timeout](double seconds) { timeout = std::chrono::round<milliseconds>(Seconds(seconds)); },
          "Seconds to wait for the server (default: " + CLI::detail::to_string(Seconds(timeout).count()) + ")")
      ->option_text("SECONDS")
      ->check(CLI::Range(kShortest, kLongest));
}

std::string addressProblem(const std::string& address) {
  if (sqm::platform::parseHttpAddress(address)) return {};
  return "'" + address + "' is not an address to post to; an example is http://127.0.0.1:8080/path";
}

}  // namespace sqmctl
