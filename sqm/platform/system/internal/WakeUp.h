#pragma once

#include <cerrno>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace sqm::platform {

/// A descriptor that a thread waits for and that other threads make readable, each by one system call: a Linux counter
/// (eventfd).
class WakeUp {
 public:
  /// Failure: std::system_error.
  WakeUp() : descriptor_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (descriptor_ < 0) throw std::system_error(errno, std::generic_category());
  }
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;
  ~WakeUp() { ::close(descriptor_); }

  int descriptor() const { return descriptor_; }

  /// Makes the descriptor readable. Any thread.
  void send() const {
    const std::uint64_t once = 1;
    while (::write(descriptor_, &once, sizeof once) < 0 && errno == EINTR) {
    }
  }

  /// Makes it unreadable again.
  void receive() const {
    std::uint64_t count = 0;
    while (::read(descriptor_, &count, sizeof count) < 0 && errno == EINTR) {
    }
  }

 private:
  const int descriptor_;
};

}  // namespace sqm::platform
