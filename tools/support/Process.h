#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace tools {

/// A program that runs beside this one. It ends with this one, whatever happens.
class Process {
 public:
  /// Starts the program `arguments[0]`. With `readsOutput`, its standard output comes to `readLine`; otherwise it
  /// shares this process's. Its standard error is appended to `errorFile`, or shared when that is empty. Throws
  /// std::system_error.
  Process(const std::vector<std::string>& arguments, bool readsOutput, const std::string& errorFile = {});
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;
  ~Process();

  /// The next line of its output, without the line end; what there is when the output ends.
  std::string readLine();

  /// True when the last `readLine` found the end of the output, and no line.
  bool isAtEnd() const { return isAtEnd_; }

  /// Asks it to end.
  void terminate() const;

  /// Ends it at once, as a crash would.
  void kill() const;

  /// Waits for its end: the exit status, or 128 and the number of the signal that killed it.
  int wait();

 private:
  pid_t pid_ = -1;
  int output_ = -1;
  bool isAtEnd_ = false;
};

}  // namespace tools
