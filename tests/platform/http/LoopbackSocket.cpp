#include "tests/platform/http/LoopbackSocket.h"

#include <arpa/inet.h>
#include <cstdint>
#include <stdexcept>
#include <unistd.h>

namespace sqm::tests {

namespace {

sockaddr* plain(sockaddr_in& address) { return static_cast<sockaddr*>(static_cast<void*>(&address)); }

}  // namespace

Descriptor::Descriptor(int fd) : fd_(fd) {
  if (fd < 0) throw std::runtime_error("a test has no descriptor");
}

Descriptor::~Descriptor() {
  if (fd_ >= 0) ::close(fd_);
}

Descriptor boundSocket() {
  Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::bind(socket, plain(address), sizeof address) != 0) throw std::runtime_error("a test has no port");
  return socket;
}

Descriptor connectedSocket(int port) {
  Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (::connect(socket, plain(address), sizeof address) != 0) throw std::runtime_error("a test has no connection");
  return socket;
}

int portOf(int socket) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  return ::getsockname(socket, plain(address), &length) == 0 ? ntohs(address.sin_port) : 0;
}

int peerPortOf(int socket) {
  sockaddr_in address{};
  socklen_t length = sizeof address;
  const bool connected = ::getpeername(socket, plain(address), &length) == 0;
  return connected && address.sin_family == AF_INET ? ntohs(address.sin_port) : 0;
}

}  // namespace sqm::tests
