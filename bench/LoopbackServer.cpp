#include "bench/LoopbackServer.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

#include "bench/Comparison.h"

namespace bench {

namespace {

constexpr std::size_t kBuffer = std::size_t{1} << 20;
constexpr std::string_view kHeadEnd = "\r\n\r\n";
constexpr std::string_view kLengthField = "Content-Length: ";  // as libcurl spells it
constexpr std::string_view kAnswer = "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n";

/// Answers requests until the client closes the connection, or does something else than expected.
void serve(int connection, std::vector<char>& buffer) {
  std::size_t filled = 0;
  const auto receive = [&] {
    const ssize_t got = ::recv(connection, buffer.data() + filled, buffer.size() - filled, 0);
    if (got <= 0) return false;
    filled += static_cast<std::size_t>(got);
    return true;
  };
  for (;;) {
    std::size_t headEnd = std::string_view::npos;
    while ((headEnd = std::string_view(buffer.data(), filled).find(kHeadEnd)) == std::string_view::npos) {
      if (filled == buffer.size() || !receive()) return;
    }
    const std::string_view head(buffer.data(), headEnd);
    const std::size_t field = head.find(kLengthField);
    if (field == std::string_view::npos) return;
    const std::size_t length = std::strtoull(head.data() + field + kLengthField.size(), nullptr, 10);
    const std::size_t inBuffer = filled - headEnd - kHeadEnd.size();
    if (inBuffer > length) return;  // requests sent ahead of their answers
    for (std::size_t left = length - inBuffer; left > 0;) {
      const ssize_t got = ::recv(connection, buffer.data(), std::min(left, buffer.size()), 0);
      if (got <= 0) return;
      left -= static_cast<std::size_t>(got);
    }
    filled = 0;
    if (::send(connection, kAnswer.data(), kAnswer.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(kAnswer.size()))
      return;
  }
}

}  // namespace

LoopbackServer::LoopbackServer() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  auto* const generic = static_cast<sockaddr*>(static_cast<void*>(&address));
  require(listener_ >= 0 && ::bind(listener_, generic, length) == 0 && ::listen(listener_, 8) == 0 &&
              ::getsockname(listener_, generic, &length) == 0,
          "no loopback server can be had");
  url_ = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
  thread_ = std::thread([this] { run(); });
}

LoopbackServer::~LoopbackServer() {
  ::shutdown(listener_, SHUT_RDWR);
  thread_.join();
  ::close(listener_);
}

void LoopbackServer::run() const {
  std::vector<char> buffer(kBuffer);
  for (int connection = -1; (connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;
       ::close(connection)) {
    const int on = 1;
    ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    serve(connection, buffer);
  }
}

}  // namespace bench
