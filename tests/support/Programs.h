#pragma once

#include <cstdlib>
#include <fcntl.h>
#include <pty.h>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/TemporaryFolder.h"
#include "tools/support/Process.h"

/// Where the programs of this build lie.
inline const std::string kPrograms = SQM_PROGRAM_DIR;

/// What a program did, from the outside.
struct Outcome {
  int status = -1;  ///< exit status, or 128 and the number of the signal that killed it
  std::string out;
  std::string err;
};

/// Runs a program to its end, with `input` as its standard input.
inline Outcome runProgram(const std::vector<std::string>& arguments, std::string_view input = "") {
  const TemporaryFolder folder;
  putContent(folder / "in", input);
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): execv changes nothing
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  const std::string in = folder / "in";
  const std::string out = folder / "out";
  const std::string err = folder / "err";
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(::open(in.c_str(), O_RDONLY), STDIN_FILENO);
    ::dup2(::open(out.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
    ::dup2(::open(err.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
    (void)::setreuid(::geteuid(), ::geteuid());  // a program whose user is half another's is not as usual
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child) {
    ADD_FAILURE() << "cannot run " << arguments.front();
    return {};
  }
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), contentOf(out), contentOf(err)};
}

/// Runs a program to its end on a terminal of its own, to which both of its outputs go. `out` is what the terminal got.
inline Outcome runOnTerminal(const std::vector<std::string>& arguments) {
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  int terminal = -1;
  const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child == 0) {
    termios settings{};
    ::tcgetattr(STDOUT_FILENO, &settings);
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);  // a line feed stays one
    ::tcsetattr(STDOUT_FILENO, TCSANOW, &settings);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  if (child < 0) {
    ADD_FAILURE() << "cannot run " << arguments.front();
    return {};
  }
  Outcome outcome;
  char buffer[4096];
  for (ssize_t got = 0; (got = ::read(terminal, buffer, sizeof buffer)) > 0;) {
    outcome.out.append(buffer, static_cast<std::size_t>(got));
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ::close(terminal);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return outcome;
}

/// The collection server, on a port of its own unless one is given.
class Collector {
 public:
  explicit Collector(const std::vector<std::string>& options = {}, int port = 0)
      : process_(command(options, port), /*readsOutput=*/true) {
    address_ = process_.readLine();
    if (address_.empty()) {
      ADD_FAILURE() << "the collection server did not start";
    } else {
      address_.pop_back();  // the slash at the end
    }
  }

  /// Its address, without a slash at the end.
  const std::string& address() const { return address_; }

  int end() {
    process_.terminate();
    return process_.wait();
  }

  void kill() {
    process_.kill();
    process_.wait();
  }

 private:
  static std::vector<std::string> command(const std::vector<std::string>& options, int port) {
    std::vector<std::string> words = {kPrograms + "/sqm-collector", "--port", std::to_string(port), "--quiet"};
    words.insert(words.end(), options.begin(), options.end());
    return words;
  }

  tools::Process process_;
  std::string address_;
};
