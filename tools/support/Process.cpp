#include "tools/support/Process.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace tools {

namespace {

[[noreturn]] void throwLastError(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

Process::Process(const std::vector<std::string>& arguments, bool readsOutput, const std::string& errorFile) {
  int pipeEnds[2] = {-1, -1};
  if (readsOutput && pipe2(pipeEnds, O_CLOEXEC) != 0) throwLastError("pipe");

  std::vector<char*> argv;
  argv.reserve(arguments.size() + 1);
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): execv changes nothing
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);

  pid_ = fork();
  if (pid_ < 0) throwLastError("fork");
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (readsOutput) dup2(pipeEnds[1], STDOUT_FILENO);
    if (!errorFile.empty()) dup2(open(errorFile.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600), STDERR_FILENO);
    execv(argv[0], argv.data());
    _exit(127);
  }
  if (readsOutput) close(pipeEnds[1]);
  output_ = pipeEnds[0];
}

Process::~Process() {
  if (pid_ > 0) {
    terminate();
    wait();
  }
  if (output_ >= 0) close(output_);
}

std::string Process::readLine() {
  std::string line;
  char character = 0;
  ssize_t count = 0;
  while ((count = read(output_, &character, 1)) == 1 && character != '\n') line.push_back(character);
  isAtEnd_ = count != 1 && line.empty();
  return line;
}

void Process::terminate() const { ::kill(pid_, SIGTERM); }

void Process::hangUp() const { ::kill(pid_, SIGHUP); }

void Process::kill() const { ::kill(pid_, SIGKILL); }

int Process::wait() {
  int status = 0;
  while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace tools
