#include "tests/platform/http/LoopbackProxy.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <poll.h>
#include <stdexcept>
#include <string_view>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

namespace sqm::tests {

namespace {

bool sendAll(int socket, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

/// Returns false at the end.
bool receiveSome(int socket, std::string& bytes) {
  std::array<char, 16384> buffer{};
  const ssize_t count = ::recv(socket, buffer.data(), buffer.size(), 0);
  if (count > 0) bytes.append(buffer.data(), static_cast<std::size_t>(count));
  return count > 0;
}

}  // namespace

LoopbackProxy::LoopbackProxy(std::string credentials)
    : credentials_(std::move(credentials)), listener_(boundSocket()), stop_(::eventfd(0, EFD_CLOEXEC)) {
  if (::listen(listener_, SOMAXCONN) != 0) throw std::runtime_error("a test has no proxy");
  thread_ = std::thread([this] {
    for (;;) {
      const int client = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (client < 0) return;
      const Descriptor owner(client);
      serveOne(client);
    }
  });
}

LoopbackProxy::~LoopbackProxy() {
  const std::uint64_t one = 1;
  if (::write(stop_, &one, sizeof one) != sizeof one) std::abort();
  ::shutdown(listener_, SHUT_RDWR);
  thread_.join();
}

std::string LoopbackProxy::address() const { return "http://127.0.0.1:" + std::to_string(portOf(listener_)); }

std::vector<std::string> LoopbackProxy::heads() const {
  const std::lock_guard lock(mutex_);
  return heads_;
}

void LoopbackProxy::serveOne(int client) {
  std::string first;
  std::size_t headEnd = std::string::npos;
  while (headEnd == std::string::npos) {
    if (!receiveSome(client, first)) return;
    headEnd = first.find("\r\n\r\n");
  }
  headEnd += 4;
  const std::string head = first.substr(0, headEnd);
  {
    const std::lock_guard lock(mutex_);
    heads_.push_back(head);
  }
  if (head.find("\r\nProxy-Authorization: Basic " + credentials_ + "\r\n") != std::string::npos) {
    return connectTo(client, std::move(first), headEnd);
  }
  sendAll(client,
          "HTTP/1.1 407 Proxy Authentication Required\r\nProxy-Authenticate: Basic realm=\"test\"\r\n"
          "Content-Length: 0\r\nConnection: close\r\n\r\n");
  ::shutdown(client, SHUT_WR);
  while (receiveSome(client, first)) {
  }
}

void LoopbackProxy::connectTo(int client, std::string first, std::size_t headEnd) const {
  const bool isTunnel = first.starts_with("CONNECT ");
  const std::size_t target = first.find(isTunnel ? " " : "://") + (isTunnel ? 1 : 3);
  const std::size_t portAt = first.find(':', target) + 1;
  const Descriptor server = connectedSocket(std::stoi(first.substr(portAt)));
  if (isTunnel) {
    sendAll(client, "HTTP/1.1 200 Connection established\r\n\r\n");
    first.erase(0, headEnd);
  } else {
    const std::size_t own = first.find("\r\nProxy-Authorization: ");
    first.erase(own, first.find("\r\n", own + 2) - own);
    const std::size_t method = first.find(' ') + 1;
    first.erase(method, first.find('/', portAt) - method);
  }
  sendAll(server, first);
  for (;;) {
    std::array<pollfd, 3> polled = {pollfd{stop_, POLLIN, 0}, pollfd{client, POLLIN, 0}, pollfd{server, POLLIN, 0}};
    if (::poll(polled.data(), polled.size(), -1) < 0) continue;
    if (polled[0].revents != 0) return;
    for (const auto& [from, to] : {std::pair{1, 2}, std::pair{2, 1}}) {
      std::string bytes;
      if (polled[static_cast<std::size_t>(from)].revents == 0) continue;
      if (!receiveSome(polled[static_cast<std::size_t>(from)].fd, bytes)) return;
      sendAll(polled[static_cast<std::size_t>(to)].fd, bytes);
    }
  }
}

}  // namespace sqm::tests
