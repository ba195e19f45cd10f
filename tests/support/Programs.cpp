#include "tests/support/Programs.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

pid_t startProgram(std::vector<std::string> arguments, int in, int out, int err) {
  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(in, STDIN_FILENO);
    ::dup2(out, STDOUT_FILENO);
    ::dup2(err, STDERR_FILENO);
    // The program is opened as the user that started the test, because the effective user may lack permission for the
    // folder of the build. It runs as the effective user alone.
    const uid_t user = ::geteuid();
    (void)::seteuid(::getuid());
    const int program = ::open(argv.front(), O_PATH | O_CLOEXEC);
    (void)::setreuid(user, user);
    ::fexecve(program, argv.data(), environ);
    ::_exit(127);
  }
  if (child < 0) ADD_FAILURE() << "cannot run " << arguments.front();
  return child;
}

int endOf(pid_t child) {
  int status = 0;
  if (child < 0 || ::waitpid(child, &status, 0) != child) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Outcome runProgram(const std::vector<std::string>& arguments, std::string_view input) {
  const TemporaryFolder folder;
  putContent(folder / "in", input);
  const int in = ::open((folder / "in").c_str(), O_RDONLY | O_CLOEXEC);
  const int out = ::open((folder / "out").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const int err = ::open((folder / "err").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const pid_t child = startProgram(arguments, in, out, err);
  for (const int descriptor : {in, out, err}) ::close(descriptor);
  const int status = endOf(child);
  return {.status = status, .out = contentOf(folder / "out"), .err = contentOf(folder / "err")};
}

Outcome runOnTerminal(const std::vector<std::string>& arguments) {
  int terminal = -1;
  int line = -1;
  if (::openpty(&terminal, &line, nullptr, nullptr, nullptr) != 0) {
    ADD_FAILURE() << "cannot open a terminal";
    return {};
  }
  ::fcntl(terminal, F_SETFD, FD_CLOEXEC);
  ::fcntl(line, F_SETFD, FD_CLOEXEC);
  termios settings{};
  ::tcgetattr(line, &settings);
  settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);  // a line feed is not changed
  ::tcsetattr(line, TCSANOW, &settings);
  const pid_t child = startProgram(arguments, line, line, line);
  ::close(line);
  Outcome outcome;
  std::array<char, 4096> buffer{};
  for (ssize_t got = 0; (got = ::read(terminal, buffer.data(), buffer.size())) > 0;) {
    outcome.out.append(buffer.data(), static_cast<std::size_t>(got));
  }
  ::close(terminal);
  outcome.status = endOf(child);
  return outcome;
}

namespace {

std::vector<std::string> collectorCommand(const std::vector<std::string>& options, int port) {
  std::vector<std::string> words = {kPrograms + "/sqm-collector", "--port", std::to_string(port), "--quiet"};
  words.insert(words.end(), options.begin(), options.end());
  return words;
}

}  // namespace

Collector::Collector(const std::vector<std::string>& options, int port, const std::string& errorFile)
    : process_(collectorCommand(options, port), /*readsOutput=*/true, errorFile), address_(process_.readLine()) {
  if (address_.empty()) {
    ADD_FAILURE() << "the collection server did not start";
  } else {
    address_.pop_back();  // the slash at the end
  }
}

int Collector::port() const { return std::stoi(address_.substr(address_.rfind(':') + 1)); }

int Collector::end() {
  process_.terminate();
  return process_.wait();
}

void Collector::kill() {
  process_.kill();
  process_.wait();
}
