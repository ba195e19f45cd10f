#include "sqm/platform/system/StandardErrorConsole.h"

#include <cerrno>
#include <signal.h>
#include <sys/uio.h>
#include <time.h>
#include <unistd.h>

namespace sqm::platform {

namespace {

/// Keeps a standard error that nobody reads any more from ending the host: for its life, SIGPIPE is held back from this
/// thread, and at its end a signal that came in between is taken away.
class PipeSignalHeldBack {
 public:
  PipeSignalHeldBack() {
    sigset_t pending;
    ::sigpending(&pending);
    wasPending_ = ::sigismember(&pending, SIGPIPE) == 1;
    ::sigemptyset(&pipe_);
    ::sigaddset(&pipe_, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipe_, &before_);
  }
  PipeSignalHeldBack(const PipeSignalHeldBack&) = delete;
  PipeSignalHeldBack& operator=(const PipeSignalHeldBack&) = delete;
  ~PipeSignalHeldBack() {
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
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): writev only reads what an iovec shows
  const ::iovec line[] = {{const_cast<char*>(text.data()), text.size()}, {&newline, 1}};
  const PipeSignalHeldBack heldBack;
  while (::writev(STDERR_FILENO, line, 2) < 0 && errno == EINTR) continue;
}

}  // namespace sqm::platform
