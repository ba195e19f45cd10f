#include <fcntl.h>
#include <signal.h>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "sqm/platform/system/StandardErrorConsole.h"

namespace sqm::platform {
namespace {

/// Redirects standard error to a pipe.
class RedirectedError {
 public:
  RedirectedError() {
    if (::pipe2(ends_, O_CLOEXEC) != 0) ADD_FAILURE() << "no pipe";
    before_ = ::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    ::dup2(ends_[1], STDERR_FILENO);
    ::close(ends_[1]);
  }
  RedirectedError(const RedirectedError&) = delete;
  RedirectedError& operator=(const RedirectedError&) = delete;
  ~RedirectedError() {
    restore();
    stopReading();
  }

  void restore() {
    if (before_ < 0) return;
    ::dup2(before_, STDERR_FILENO);
    ::close(before_);
    before_ = -1;
  }
  void stopReading() {
    if (ends_[0] >= 0) ::close(ends_[0]);
    ends_[0] = -1;
  }
  /// The bytes of one read, which are those of one write.
  std::string read() const {
    char buffer[4096];
    const ssize_t got = ::read(ends_[0], buffer, sizeof buffer);
    return {buffer, got > 0 ? static_cast<std::size_t>(got) : 0};
  }

 private:
  int ends_[2] = {-1, -1};
  int before_ = -1;
};

TEST(StandardErrorConsole, WritesTheTextAndANewline) {
  RedirectedError error;
  StandardErrorConsole().writeLine("User appectance string:<a>100%@</a>");
  StandardErrorConsole().writeLine("");
  error.restore();
  EXPECT_EQ(error.read(), "User appectance string:<a>100%@</a>\n\n");
}

TEST(StandardErrorConsole, AClosedPipeDoesNotEndTheProcess) {
  ASSERT_NE(::signal(SIGPIPE, SIG_DFL), SIG_ERR);
  RedirectedError error;
  error.stopReading();
  StandardErrorConsole().writeLine("lost");
  sigset_t pending;
  ::sigpending(&pending);
  EXPECT_EQ(::sigismember(&pending, SIGPIPE), 0);
}

}  // namespace
}  // namespace sqm::platform
