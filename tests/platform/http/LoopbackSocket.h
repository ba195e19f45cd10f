#pragma once

#include <netinet/in.h>
#include <sys/socket.h>
#include <utility>

namespace sqm::tests {

/// Owns a descriptor, which it closes.
class Descriptor {
 public:
  /// Failure: std::runtime_error for a negative descriptor.
  explicit Descriptor(int fd);
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;
  ~Descriptor();
  operator int() const { return fd_; }

 private:
  int fd_;
};

/// A TCP socket that is bound to a free port of 127.0.0.1 and does not listen.
Descriptor boundSocket();

/// A TCP socket that is connected to this port of 127.0.0.1. Failure: std::runtime_error.
Descriptor connectedSocket(int port);

/// The port to which the socket is bound.
int portOf(int socket);

/// The port at the other end of a connection of 127.0.0.1; 0 for any other descriptor.
int peerPortOf(int socket);

}  // namespace sqm::tests
