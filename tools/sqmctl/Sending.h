#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "sqm/common/SystemConsole.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/http/HttpExchange.h"

#include "tools/sqmctl/Command.h"
#include "tools/support/Terminal.h"

namespace sqmctl {

/// The host of a command that sends: lists are saved atomically, and nothing is written to the system console, to which
/// the library writes documents and the names of deleted files.
class SendingHost {
 public:
  explicit SendingHost(const std::string& home, sqm::platform::HttpExchangeObserver onExchange = {});
  SendingHost(const SendingHost&) = delete;
  SendingHost& operator=(const SendingHost&) = delete;

  sqm::platform::StandardHost& host() { return host_; }

  bool isIdle() const { return host_.httpTransactions->requestsUnderWay() == 0; }

  /// What could not be read or written since the host was made, in a line each.
  const std::vector<std::string>& fileProblems() const { return fileProblems_; }

 private:
  struct SilentConsole : sqm::SystemConsole {
    void writeLine(std::string_view) override {}
  };

  sqm::platform::StandardHost::Options options(const std::string& home, sqm::platform::HttpExchangeObserver onExchange);

  SilentConsole console_;
  std::vector<std::string> fileProblems_;
  sqm::platform::StandardHost host_;
};

/// "0.13 s"
std::string secondsText(std::chrono::milliseconds time);

/// Prints the row of an exchange in which only status 200 removes what was posted. Returns its result as a reason: "the
/// server answered with 500 …; only 200 removes a request from the queue".
std::string printExchange(tools::Terminal& terminal, const std::string& row,
                          const sqm::platform::HttpExchange& exchange, const std::string& removed);

/// Adds the argument for the address to post to, which is checked.
void addUrl(CLI::App& command, std::string& url);

/// Adds the option for how long the command waits.
void addTimeout(CLI::App& command, std::chrono::milliseconds& timeout);

/// Why nothing can be posted to `address`; empty when it can. For CLI11's `check`.
std::string addressProblem(const std::string& address);

}  // namespace sqmctl
