#include "sqm/platform/system/StandardErrorConsole.h"

#include <cerrno>
#include <signal.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

namespace sqm::platform {

namespace {

/// Prevents a standard error without a reader from ending the host: blocks SIGPIPE for this thread, and removes a
/// signal that became pending meanwhile.
class PipeSignalBlocked {
 public:
  PipeSignalBlocked() {
    sigset_t pending;
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::sigemptyset(&pipe_);
    ::sigaddset(&pipe_, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  PipeSignalBlocked(const PipeSignalBlocked&) = delete;
  PipeSignalBlocked& operator=(const PipeSignalBlocked&) = delete;
  ~PipeSignalBlocked() {
    const timespec noTime{};
    if (!wasPending_) ::sigtimedwait(&pipe_, nullptr, &noTime);
    ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }

 private:
  sigset_t pipe_{};
  sigset_t before_{};
  bool wasPending_ = false;
};

}  // namespace

void StandardErrorConsole::writeLine(std::string_view text) {
  char newline = '\n';
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): writev does not change the bytes
  const ::iovec line[] = {{const_cast<char*>(text.data()), text.size()}, {&newline, 1}};
  const PipeSignalBlocked blocked;
  while (::writev(STDERR_FILENO, line, 2) < 0 && errno == EINTR) continue;
}

}  // namespace sqm::platform
