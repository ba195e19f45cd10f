#pragma once

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "tests/support/Paths.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/support/Process.h"

/// The folder of this build's programs.
inline const std::string kPrograms = paths::programs();

/// The result of a program.
struct Outcome {
  int status = -1;  ///< exit status, or 128 and the number of the signal that killed it
  std::string out;
  std::string err;
};

/// Starts a program with these descriptors as its standard input, output and error. Returns its process, or a number
/// below 0 when there is none.
pid_t startProgram(std::vector<std::string> arguments, int in, int out, int err);

/// Waits for the end of a program. Returns its exit status, or 128 and the number of the signal that killed it.
int endOf(pid_t child);

/// Runs a program to its end, with `input` as its standard input.
Outcome runProgram(const std::vector<std::string>& arguments, std::string_view input = "");

/// Runs a program to its end with a terminal as its standard input, output and error. `out` is what was written to the
/// terminal. It is not the controlling terminal of the program: that one is hung up when its program ends, and unread
/// output is lost.
Outcome runOnTerminal(const std::vector<std::string>& arguments);

/// A running collection server, on a free port unless one is given. Its standard error is appended to `errorFile`, when
/// one is given.
class Collector {
 public:
  explicit Collector(const std::vector<std::string>& options = {}, int port = 0, const std::string& errorFile = {});

  /// Its address, without a slash at the end.
  const std::string& address() const { return address_; }

  int port() const;

  /// Asks it to end. Returns its exit status.
  int end();

  void kill();

  /// Has it read again what it reads on SIGHUP.
  void reload() { process_.hangUp(); }

 private:
  tools::Process process_;
  std::string address_;
};
