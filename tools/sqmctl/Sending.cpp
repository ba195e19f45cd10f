#include "tools/sqmctl/Sending.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <utility>

#include "sqm/common/HttpTransaction.h"
#include "sqm/platform/http/internal/HttpAddress.h"

#include "tools/sqmctl/DeliveryOptions.h"
#include "tools/sqmctl/Stored.h"

namespace sqmctl {

using std::chrono::milliseconds;
using Seconds = std::chrono::duration<double>;

SendingHost::SendingHost(const Invocation& invocation, SentObserver onSent)
    : onSent_(std::move(onSent)), host_(options(invocation)) {
  fileProblems_.clear();  // of the preferences, which no command here uses
}

sqm::platform::StandardHost::Options SendingHost::options(const Invocation& invocation) {
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = homeOf(invocation);
  options.atomicSaves = true;
  setDelivery(options, invocation);
  options.recording = recordingFor(invocation, options.homeDirectory);
  if (hasStatistics(options.homeDirectory)) options.counting = sqm::platform::StandardHost::Counting::kept;
  options.onFileProblem = [this](const sqm::platform::FileProblem& problem) {
    fileProblems_.push_back(textOf(problem));
  };
  options.onHttpExchange = [this](const sqm::platform::HttpExchange& exchange) { exchange_ = exchange; };
  options.onDelivery = [this](const sqm::delivery::Delivery& delivery) {
    if (delivery.outcome == sqm::delivery::Outcome::refused) {
      refusals_.push_back("the server refused " + tools::plural(delivery.bytes, "byte") + " with status " +
                          std::to_string(delivery.status) + "; they are kept, see 'sqmctl refused list'");
    }
    if (onSent_) onSent_(exchange_, delivery);
  };
  options.services.console = &console_;
  return options;
}

void SendingHost::complainOfAll(Invocation& invocation) const {
  for (const std::string& problem : fileProblems_) complain(invocation, problem);
  for (const std::string& refusal : refusals_) complain(invocation, refusal);
}

std::string secondsText(milliseconds time) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f s", Seconds(time).count());
  return text;
}

std::string printExchange(tools::Terminal& terminal, const std::string& row,
                          const sqm::platform::HttpExchange& exchange, const sqm::delivery::Delivery& delivery,
                          const std::string& removed) {
  using sqm::delivery::Outcome;
  const bool isTaken = delivery.shownStatus == sqm::kHttpStatusOk;
  const bool isGood = isTaken && delivery.outcome == Outcome::delivered;
  terminal.passing("");
  terminal.line(terminal.shown("  " + row + "  " + secondsText(exchange.elapsed) + "  ") +
                terminal.styled(isGood ? tools::Style::good : tools::Style::bad, textOf(exchange)));
  if (isTaken || exchange.outcome != sqm::platform::HttpOutcome::completed) return textOf(exchange);
  if (delivery.outcome == Outcome::retry) return retryText(exchange, std::string(delivery.reason));
  return "the server answered with " + textOf(exchange) + "; only 200 removes " + removed;
}

std::string retryText(const sqm::platform::HttpExchange& exchange, const std::string& reason) {
  return "the server answered with " + textOf(exchange) + "; " + reason;
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
