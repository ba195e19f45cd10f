#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sqm/common/SystemConsole.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/files/ArchiveFiles.h"
#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/platform/http/HttpClient.h"

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/HeardLogs.h"

namespace sqmctl {

/// What became of a request, in the words of the HTTP log: "status 200", "error: …", "time-out: …".
struct Exchange {
  std::string outcome;
  double seconds = 0;

  bool isAnswer() const { return outcome.starts_with("status "); }
  /// An answer of the 200s.
  bool isSuccess() const { return outcome.starts_with("status 2"); }
};

/// A host that sends, and tells what became of each request and which files could not be written. Lists are saved
/// atomically. Logs are written as any host's are.
class SendingHost {
 public:
  explicit SendingHost(const std::string& home);

  sqm::platform::StandardHost& host() { return host_; }

  /// From now on `tell` hears how a request ended, before the library's own objects do.
  void tellExchanges(std::function<void(const Exchange&)> tell) { tellExchange_ = std::move(tell); }

  bool isIdle() const { return http_.requestsUnderWay() == 0; }

  /// Runs the library until no request is under way and none follows. False when the time is up first.
  bool runUntilIdle(double seconds);

  /// What could not be read or written, in a line each.
  const std::vector<std::string>& fileProblems() const { return fileProblems_; }

 private:
  struct SilentConsole : sqm::SystemConsole {
    void writeLine(std::string_view) override {}
  };

  void hearHttp(const sqm::LogLine& line);
  sqm::platform::FileProblems reportedProblems();

  sqm::platform::StandardHost host_;
  std::function<void(const Exchange&)> tellExchange_;
  std::vector<std::string> fileProblems_;
  HeardLogs httpLogs_;
  sqm::platform::HttpClient http_;
  sqm::platform::PropertyListFiles lists_;
  sqm::platform::ArchiveFiles archives_;
  SilentConsole console_;
};

/// "0.13 s"
std::string secondsText(double seconds);

/// The option that says for how many seconds the command waits.
void addTimeout(CLI::App& command, double& seconds);

/// Why an address cannot be posted to; empty when it can. For CLI11's `check`.
std::string addressProblem(const std::string& address);

}  // namespace sqmctl
