#include "tools/collector/HttpServer.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <fcntl.h>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>

#include "tools/collector/Json.h"
#include "tools/support/Number.h"

namespace collector {

namespace {

constexpr int kBacklog = 512;
constexpr std::size_t kRequestsOfOneConnection = 1'000'000;
constexpr int kPause = 50;                 // milliseconds between attempts to accept
constexpr std::chrono::seconds kGrace{1};  // for answers in progress when the server ends

// The engine passes only the request to its handlers.
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): each serving thread sets its own
thread_local Connection* current = nullptr;

bool hasBody(const httplib::Request& request) {
  return request.has_header("Transfer-Encoding") || request.has_header("Content-Length");
}

/// Refuses a body whose end cannot be determined or that is longer than `longest` bytes.
std::optional<Refusal> refuseBody(const httplib::Request& request, std::size_t longest) {
  if (request.has_header("Transfer-Encoding") && request.get_header_value("Transfer-Encoding") != "chunked") {
    return Refusal{501, "the only transfer coding is chunked"};
  }
  if (!request.has_header("Content-Length")) return std::nullopt;
  const auto length = tools::numberIn<std::uint64_t>(request.get_header_value("Content-Length"));
  if (!length || request.get_header_value_count("Content-Length") > 1) {
    return Refusal{400, "Content-Length is to be one number"};
  }
  if (*length <= longest) return std::nullopt;
  return Refusal{413, "the body is longer than " + std::to_string(longest) + " bytes"};
}

/// Removes what would make the engine decompress the body, parse a form, compress the answer or send a part of it.
void simplify(httplib::Request& request) {
  for (const char* name : {"Content-Encoding", "Content-Type", "Accept-Encoding"}) request.headers.erase(name);
  request.ranges.clear();
}

}  // namespace

void fail(httplib::Response& response, int status, std::string_view error) {
  response.status = status;
  response.set_content(errorJson(error) + "\n", "application/json");
}

HttpServer::HttpServer(const Limits& limits) : limits_(limits) {
  set_payload_max_length(limits.largestBody);
  // The engine announces these limits to clients; this layer enforces them.
  set_keep_alive_timeout(limits.keepAlive.count());
  set_keep_alive_max_count(kRequestsOfOneConnection);
  set_socket_options([](int socket) {
    const int on = 1;  // a restart finds its port free; a second server does not
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  });
  addRefusal([this](const httplib::Request& request) { return refuseBody(request, limits_.largestBody); });
  set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
    const auto refusal = refusalOf(request);
    if (!refusal) return HandlerResponse::Unhandled;
    fail(response, refusal->status, refusal->reason);
    return HandlerResponse::Handled;
  });
}

std::optional<Refusal> HttpServer::refusalOf(const httplib::Request& request) const {
  for (const Refuse& refuse : refusing_) {
    if (auto refusal = refuse(request)) return refusal;
  }
  return std::nullopt;
}

int HttpServer::listenOn(const std::string& address, int port) {
  const int bound = port == 0 ? bind_to_any_port(address) : bind_to_port(address, port) ? port : -1;
  if (bound < 0) {
    throw std::runtime_error("cannot listen on port " + std::to_string(port) + " of " + address +
                             ": is it taken? --port 0 takes a free one.");
  }
  ::listen(svr_sock_, kBacklog);
  fcntl(svr_sock_, F_SETFL, O_NONBLOCK);
  return bound;
}

void HttpServer::run(int stop, const std::function<void()>& onStop) {
  for (;;) {
    std::unique_lock lock(mutex_);
    const bool hasRoom = threads_ < limits_.connections;
    lock.unlock();
    std::array<pollfd, 2> descriptors = {pollfd{stop, POLLIN, 0}, pollfd{svr_sock_, POLLIN, 0}};
    poll(descriptors.data(), hasRoom ? 2 : 1, hasRoom ? -1 : kPause);
    if (descriptors[0].revents != 0) break;
    if (hasRoom && descriptors[1].revents != 0) accept();
  }
  onStop();
  end();
}

Connection& HttpServer::connection() { return *current; }

void HttpServer::accept() {
  const int socket = ::accept4(svr_sock_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
  if (socket < 0) {
    // Too many open files, as a rule, or a client that has left again.
    std::this_thread::sleep_for(std::chrono::milliseconds(kPause));
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    ++threads_;
  }
  try {
    std::thread([this, socket] { serve(socket); }).detach();
  } catch (const std::system_error&) {
    close(socket);
    const std::lock_guard lock(mutex_);
    --threads_;
  }
}

void HttpServer::serve(int socket) {
  {
    Connection connection(socket, limits_);
    {
      const std::lock_guard lock(mutex_);
      connections_.insert(&connection);
      if (isEnding_) connection.stopReading();
    }
    current = &connection;
    try {
      answer(connection);
    } catch (const std::exception&) {  // no memory for the head of a request
      connection.closeAfterAnswer();
    }
    const std::lock_guard lock(mutex_);
    connections_.erase(&connection);
  }
  const std::lock_guard lock(mutex_);
  --threads_;
  isDone_.notify_all();  // under the lock: after its release the server may be destroyed
}

/// Answers the requests of a connection, one after another.
void HttpServer::answer(Connection& connection) {
  while (connection.waitForRequest()) {
    bool isClosing = false;
    const bool isWritten = process_request(connection, false, isClosing, [&](httplib::Request& request) {
      connection.endHead();
      const bool isRead = request.method == "POST" || request.method == "PUT";
      if (refusalOf(request) || (hasBody(request) && !isRead)) {
        connection.closeAfterAnswer();
        request.headers.erase("Expect");
        request.headers.erase("Connection");
        request.headers.emplace("Connection", "close");
      }
      if (isRead && !hasBody(request)) request.headers.emplace("Content-Length", "0");
      simplify(request);
    });
    if (!connection.isHeadRead()) connection.closeAfterAnswer();
    if (!isWritten || isClosing || connection.isLast()) return;
  }
}

void HttpServer::end() {
  const int socket = svr_sock_.exchange(INVALID_SOCKET);  // ends the engine's answers that are made piece by piece, too
  if (socket != INVALID_SOCKET) close(socket);
  std::unique_lock lock(mutex_);
  isEnding_ = true;
  for (const Connection* connection : connections_) connection->stopReading();
  const auto isDone = [this] { return threads_ == 0; };
  if (isDone_.wait_for(lock, kGrace, isDone)) return;
  for (const Connection* connection : connections_) connection->stopAll();
  isDone_.wait(lock, isDone);
}

}  // namespace collector
