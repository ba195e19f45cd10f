#pragma once

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "sqm/delivery/Journal.h"
#include "sqm/delivery/Limits.h"
#include "sqm/delivery/Outcomes.h"

namespace CLI {
class App;
}

namespace sqmctl {

/// How a run of sqmctl ends.
enum ExitStatus : int { kSuccess = 0, kFailure = 1, kBadInput = 2 };

/// Ends a command early. The text states what is wrong, where, and what is expected; it is written to standard error.
class Problem : public std::runtime_error {
 public:
  Problem(ExitStatus status, const std::string& text) : std::runtime_error(text), status_(status) {}
  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

/// The options that all subcommands share, and the exit status of the run.
struct Invocation {
  std::string home;       ///< replaces the user's home directory; empty: the user's own
  std::string resources;  ///< the folder of "SQMFieldNames.plist"; empty: the sample that comes with the tool
  sqm::delivery::Accept accept = sqm::delivery::Accept::anyStatus;            ///< which status counts as delivered
  sqm::delivery::Recording recording = sqm::delivery::Recording::asRequired;  ///< whether records are journalled
  std::optional<sqm::delivery::Limits> limits;                                ///< what is kept
  int status = kSuccess;
};

// Each adds one subcommand, with its options, to the program. The subcommand runs from its callback, throws Problem,
// and sets `status` where it is not kSuccess. The program and the invocation outlive it.
void addStatus(CLI::App& program, Invocation& invocation);
void addShow(CLI::App& program, Invocation& invocation);
void addDocuments(CLI::App& program, Invocation& invocation);
void addUpload(CLI::App& program, Invocation& invocation);
void addQueue(CLI::App& program, Invocation& invocation);
void addRefused(CLI::App& program, Invocation& invocation);
void addDirectory(CLI::App& program, Invocation& invocation);
void addDiagnostics(CLI::App& program, Invocation& invocation);
void addFields(CLI::App& program, Invocation& invocation);
void addPlay(CLI::App& program, Invocation& invocation);

/// The system's text for `errno`.
std::string lastReason();

/// Writes a message to standard error.
void remark(const std::string& text);

/// Writes a message to standard error and sets the exit status to kFailure. The run continues.
void complain(Invocation& invocation, const std::string& text);

/// The folder of "SQMFieldNames.plist" for this invocation: the one of --resources, else that of the sample installed
/// with the tool, else that of the executable.
std::filesystem::path resourcesOf(const Invocation& invocation);

}  // namespace sqmctl
