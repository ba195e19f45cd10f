#include "tools/support/ReservedPort.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace tools {

ReservedPort::ReservedPort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof place;
  auto* const address = static_cast<sockaddr*>(static_cast<void*>(&place));
  // A socket that is bound and does not listen reserves the port. A server that sets one of these options, too, may
  // listen on it.
  const int on = 1;
  if (socket_ < 0 || ::setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0 ||
      ::setsockopt(socket_, SOL_SOCKET, SO_REUSEPORT, &on, sizeof on) != 0 || ::bind(socket_, address, length) != 0 ||
      ::getsockname(socket_, address, &length) != 0) {
    const std::error_code problem(errno, std::generic_category());
    ::close(socket_);
    throw std::system_error(problem, "cannot reserve a port");
  }
  number_ = ntohs(place.sin_port);
}

ReservedPort::~ReservedPort() { ::close(socket_); }

}  // namespace tools
