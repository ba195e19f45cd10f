#include "tools/collector/http/Channel.h"

#include <cerrno>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace collector {

namespace {

constexpr int kMostUnsent = 64 * 1024;  // bytes

Transfer transferOf(ssize_t count, short event) {
  if (count >= 0) return {.count = count};
  return {.count = -1, .awaited = errno == EAGAIN ? event : short{0}};
}

}  // namespace

Channel::Channel(int socket) : socket_(socket) {
  const int on = 1;
  setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // the engine writes head and body apart
  // The system's buffer of a slow reader stays small, and there is room in it again as soon as the reader has read
  // some.
  setsockopt(socket_, IPPROTO_TCP, TCP_NOTSENT_LOWAT, &kMostUnsent, sizeof kMostUnsent);
}

Channel::~Channel() { close(socket_); }

Transfer Channel::receive(char* out, std::size_t size) { return transferOf(recv(socket_, out, size, 0), POLLIN); }

Transfer Channel::send(const char* data, std::size_t size) {
  return transferOf(::send(socket_, data, size, MSG_NOSIGNAL), POLLOUT);
}

void Channel::finish() { shutdown(socket_, SHUT_WR); }

void Channel::resetAtEnd() const {
  const linger reset = {.l_onoff = 1, .l_linger = 0};
  setsockopt(socket_, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
}

}  // namespace collector
