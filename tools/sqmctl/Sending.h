#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "sqm/common/SystemConsole.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/http/HttpExchange.h"

#include "tools/sqmctl/Command.h"
#include "tools/support/Terminal.h"

namespace sqmctl {

/// Called with an exchange, and with its outcome for the library's classes.
using SentObserver =
    std::function<void(const sqm::platform::HttpExchange& exchange, const sqm::delivery::Delivery& delivery)>;

/// The host of a command that sends: lists are saved atomically, and nothing is written to the system console, to which
/// the library writes documents and the names of deleted files.
class SendingHost {
 public:
  explicit SendingHost(const Invocation& invocation, SentObserver onSent = {});
  SendingHost(const SendingHost&) = delete;
  SendingHost& operator=(const SendingHost&) = delete;

  sqm::platform::StandardHost& host() { return host_; }

  bool isIdle() const { return host_.httpTransactions->requestsUnderWay() == 0; }

  /// What could not be read or written since the host was made, in a line each.
  const std::vector<std::string>& fileProblems() const { return fileProblems_; }

  /// Reports what could not be read or written, and what the server refused.
  void complainOfAll(Invocation& invocation) const;

 private:
  struct SilentConsole : sqm::SystemConsole {
    void writeLine(std::string_view) override {}
  };

  sqm::platform::StandardHost::Options options(const Invocation& invocation);

  SilentConsole console_;
  SentObserver onSent_;
  sqm::platform::HttpExchange exchange_;
  std::vector<std::string> fileProblems_;
  std::vector<std::string> refusals_;
  sqm::platform::StandardHost host_;
};

/// "0.13 s"
std::string secondsText(std::chrono::milliseconds time);

/// Prints the row of an exchange in which only status 200 removes what was posted. Returns its result as a reason: "the
/// server answered with 500 …; only 200 removes a request from the queue".
std::string printExchange(tools::Terminal& terminal, const std::string& row,
                          const sqm::platform::HttpExchange& exchange, const sqm::delivery::Delivery& delivery,
                          const std::string& removed);

/// Why what was posted stays after a response: "the server answered with status 503; it is to be sent again later".
std::string retryText(const sqm::platform::HttpExchange& exchange, const std::string& reason);

/// Adds the argument for the address to post to, which is checked.
void addUrl(CLI::App& command, std::string& url);

/// Adds the option for how long the command waits.
void addTimeout(CLI::App& command, std::chrono::milliseconds& timeout);

/// Why nothing can be posted to `address`; empty when it can. For CLI11's `check`.
std::string addressProblem(const std::string& address);

}  // namespace sqmctl
