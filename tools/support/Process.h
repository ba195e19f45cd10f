#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace tools {

/// A child process. It ends with this process, even when this process is killed.
class Process {
 public:
  /// Starts the program `arguments[0]`. With `readsOutput`, `readLine` reads its standard output; otherwise it shares
  /// this process's. Its standard error is appended to `errorFile`, or shared when that is empty. Throws
  /// std::system_error.
  Process(const std::vector<std::string>& arguments, bool readsOutput, const std::string& errorFile = {});
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  /// The next line of its output, without the line end; at the end of the output the rest, which may be empty.
  std::string readLine();

  /// True when the last `readLine` found only the end of the output.
  bool isAtEnd() const { return isAtEnd_; }

  /// Sends it SIGTERM.
  void terminate() const;

  /// Sends it SIGHUP.
  void hangUp() const;

  /// Sends it SIGKILL.
  void kill() const;

  /// Waits for its end. Returns the exit status, or 128 and the number of the signal that killed it.
  int wait();

 private:
  pid_t pid_ = -1;
  int output_ = -1;
  bool isAtEnd_ = false;
};

}  // namespace tools
