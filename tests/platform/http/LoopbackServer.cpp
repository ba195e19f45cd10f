#include "tests/platform/http/LoopbackServer.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <list>
#include <mutex>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "tests/platform/http/LoopbackSocket.h"
#include "tests/support/Patience.h"

namespace sqm::tests {

namespace {

/// The value of "Content-Length:" as libcurl spells it; 0 without one.
std::size_t declaredLength(std::string_view head) {
  constexpr std::string_view kName = "\r\nContent-Length: ";
  const std::size_t at = head.find(kName);
  std::size_t length = 0;
  if (at != std::string_view::npos) {
    std::from_chars(head.data() + at + kName.size(), head.data() + head.size(), length);
  }
  return length;
}

struct Connection {
  Descriptor socket;
  std::size_t number = 0;
  std::string in = {};
  std::size_t headEnd = 0;  // 0: the head has not arrived
  std::size_t requestEnd = 0;
  std::optional<Answer> answer = {};  // to the request that is arriving
  std::string out = {};
  std::size_t sent = 0;
  bool reading = true;
  bool ended = false;
};

}  // namespace

Answer response(std::string_view status, std::string_view body) {
  std::string bytes = "HTTP/1.1 ";
  bytes.append(status).append("\r\nContent-Length: ").append(std::to_string(body.size())).append("\r\n\r\n");
  return {bytes.append(body)};
}

class LoopbackServer::Loop {
 public:
  explicit Loop(std::vector<Answer> script)
      : script_(std::move(script)), listener_(boundSocket()), stop_(::eventfd(0, EFD_CLOEXEC)) {
    if (::listen(listener_, SOMAXCONN) != 0) throw std::runtime_error("the loopback server cannot listen");
    port = portOf(listener_);
    thread_ = std::thread([this] { run(); });
  }

  ~Loop() {
    const std::uint64_t one = 1;
    if (::write(stop_, &one, sizeof one) != sizeof one) std::abort();
    thread_.join();
  }

  template <typename Condition>
  bool waitUntil(Condition condition) {
    std::unique_lock lock(mutex);
    return changed_.wait_for(lock, kPatience, condition);
  }

  int port = 0;

  std::mutex mutex;
  std::vector<ReceivedRequest> requests;
  std::size_t connections = 0;
  std::size_t heads = 0;
  std::size_t closed = 0;

 private:
  void run() {
    for (;;) {
      std::vector<pollfd> polled = {{stop_, POLLIN, 0}, {listener_, POLLIN, 0}};
      for (const Connection& connection : open_) {
        const int wanted = (connection.reading ? POLLIN : 0) | (connection.out.empty() ? 0 : POLLOUT);
        polled.push_back({connection.socket, static_cast<short>(wanted), 0});
      }
      if (::poll(polled.data(), polled.size(), -1) < 0) continue;
      if (polled[0].revents != 0) return;

      auto events = polled.begin() + 2;
      for (Connection& connection : open_) {
        const int happened = (events++)->revents;
        if ((happened & POLLOUT) != 0) send(connection);
        if ((happened & (POLLIN | POLLHUP | POLLERR)) != 0) receive(connection);
      }
      open_.remove_if([](const Connection& connection) { return connection.ended; });
      if (polled[1].revents != 0) accept();
    }
  }

  void accept() {
    const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket < 0) return;
    const int on = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Connection& connection = open_.emplace_back(Connection{Descriptor(socket)});
    update([&] { connection.number = connections++; });
    if (upcoming().when == Answer::When::onConnect) {
      choose(connection);
      begin(connection);
    }
  }

  void receive(Connection& connection) {
    const ssize_t count = ::recv(connection.socket, buffer_.data(), buffer_.size(), 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (count <= 0) {
      connection.ended = true;
      update([&] { ++closed; });
      return;
    }
    connection.in.append(buffer_.data(), static_cast<std::size_t>(count));
    while (connection.reading && takeRequest(connection)) {
    }
  }

  /// Moves a whole request from `connection.in` to `requests`. Returns false when none has arrived.
  bool takeRequest(Connection& connection) {
    if (connection.headEnd == 0) {
      const std::size_t end = connection.in.find("\r\n\r\n");
      if (end == std::string::npos) return false;
      connection.headEnd = end + 4;
      connection.requestEnd = connection.headEnd + declaredLength(connection.in.substr(0, connection.headEnd));
      if (!connection.answer) choose(connection);
      update([&] { ++heads; });
      if (connection.answer->when == Answer::When::afterHead) begin(connection);
    }
    if (connection.in.size() < connection.requestEnd) return false;

    ReceivedRequest request{connection.number, connection.in.substr(0, connection.headEnd),
                            connection.in.substr(connection.headEnd, connection.requestEnd - connection.headEnd)};
    update([&] { requests.push_back(std::move(request)); });
    connection.in.erase(0, connection.requestEnd);
    connection.headEnd = 0;
    if (connection.answer->when == Answer::When::afterRequest) begin(connection);
    if (connection.answer->then == Answer::Then::keepOpen) connection.answer.reset();
    return true;
  }

  void begin(Connection& connection) {
    connection.out += connection.answer->bytes;
    if (connection.answer->then == Answer::Then::stopReading) connection.reading = false;
    send(connection);
  }

  void send(Connection& connection) {
    while (connection.sent < connection.out.size()) {
      const ssize_t count = ::send(connection.socket, connection.out.data() + connection.sent,
                                   connection.out.size() - connection.sent, MSG_NOSIGNAL);
      if (count < 0) {
        if (errno == EAGAIN || errno == EINTR) return;
        connection.ended = true;
        update([&] { ++closed; });
        return;
      }
      connection.sent += static_cast<std::size_t>(count);
    }
    connection.out.clear();
    connection.sent = 0;
    if (!connection.answer) return;
    if (connection.answer->then == Answer::Then::close) connection.ended = true;
    if (connection.answer->then == Answer::Then::repeat) connection.out = connection.answer->repeated;
  }

  const Answer& upcoming() const { return script_[std::min(given_, script_.size() - 1)]; }

  void choose(Connection& connection) {
    connection.answer = upcoming();
    ++given_;
  }

  template <typename Change>
  void update(Change change) {
    const std::lock_guard lock(mutex);
    change();
    changed_.notify_all();
  }

  const std::vector<Answer> script_;
  std::size_t given_ = 0;
  Descriptor listener_;
  Descriptor stop_;
  std::list<Connection> open_;
  std::vector<char> buffer_ = std::vector<char>(256 * 1024);
  std::condition_variable changed_;
  std::thread thread_;
};

LoopbackServer::LoopbackServer(std::vector<Answer> script) : loop_(std::make_unique<Loop>(std::move(script))) {}

LoopbackServer::~LoopbackServer() = default;

int LoopbackServer::port() const { return loop_->port; }

std::string LoopbackServer::url(std::string_view path) const {
  return "http://127.0.0.1:" + std::to_string(port()) + std::string(path);
}

bool LoopbackServer::waitForHeads(std::size_t count) const {
  return loop_->waitUntil([&] { return loop_->heads >= count; });
}

bool LoopbackServer::waitForRequests(std::size_t count) const {
  return loop_->waitUntil([&] { return loop_->requests.size() >= count; });
}

bool LoopbackServer::waitForClosed(std::size_t count) const {
  return loop_->waitUntil([&] { return loop_->closed >= count; });
}

std::vector<ReceivedRequest> LoopbackServer::requests() const {
  const std::lock_guard lock(loop_->mutex);
  return loop_->requests;
}

std::size_t LoopbackServer::connections() const {
  const std::lock_guard lock(loop_->mutex);
  return loop_->connections;
}

}  // namespace sqm::tests
