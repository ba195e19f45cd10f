#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace CLI {
class App;
}

namespace sqmctl {

/// How a run of sqmctl ends.
enum ExitStatus : int { kSuccess = 0, kFailure = 1, kBadInput = 2 };

/// What ends a command early: the text says what is wrong, where, and what would be right; it goes to standard error.
class Problem : public std::runtime_error {
 public:
  Problem(ExitStatus status, const std::string& text) : std::runtime_error(text), status_(status) {}
  ExitStatus status() const { return status_; }

 private:
  ExitStatus status_;
};

/// What stands before the subcommand, and is the same for all of them; and how the run ends.
struct Invocation {
  std::string home;       ///< stands for the user's home directory; empty: the user's own
  std::string resources;  ///< where "SQMFieldNames.plist" lies; empty: the sample that comes with the tool
  int status = kSuccess;
};

// Each adds one subcommand, with its options, to the program. The subcommand runs from its callback, throws Problem,
// and sets `status` where it is not kSuccess. The program and the invocation outlive it.
void addStatus(CLI::App& program, Invocation& invocation);
void addShow(CLI::App& program, Invocation& invocation);
void addDocuments(CLI::App& program, Invocation& invocation);
void addUpload(CLI::App& program, Invocation& invocation);
void addQueue(CLI::App& program, Invocation& invocation);
void addDirectory(CLI::App& program, Invocation& invocation);
void addDiagnostics(CLI::App& program, Invocation& invocation);
void addFields(CLI::App& program, Invocation& invocation);
void addPlay(CLI::App& program, Invocation& invocation);

/// Says something on standard error.
void remark(const std::string& text);

/// Says what is wrong there, and that the run fails. It goes on.
void complain(Invocation& invocation, const std::string& text);

/// Where "SQMFieldNames.plist" lies for this invocation: what the user said, else the sample that is installed with the
/// tool, else the one beside the executable.
std::filesystem::path resourcesOf(const Invocation& invocation);

}  // namespace sqmctl
