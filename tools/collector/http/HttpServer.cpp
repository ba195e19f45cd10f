#include "tools/collector/http/HttpServer.h"

#include <cstdint>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

#include "tools/collector/Json.h"
#include "tools/collector/http/ConnectionPoller.h"
#include "tools/support/Number.h"

namespace collector {

namespace {

constexpr int kBacklog = 4096;
constexpr std::size_t kRequestsOfOneConnection = 1'000'000;
constexpr int kTooLong = 413;

/// The request that a thread serves. The engine passes only parts of it to its handlers.
struct Serving {
  Connection* connection = nullptr;
  std::optional<Refusal> refusal;
};
// NOLINTNEXTLINE(cppcoreguidelines-avoid-non-const-global-variables): each serving thread sets its own
thread_local Serving current;

bool hasBody(const httplib::Request& request) {
  return request.has_header("Transfer-Encoding") || request.has_header("Content-Length");
}

std::string tooLong(std::size_t longest) { return "the body is longer than " + std::to_string(longest) + " bytes"; }

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
  return Refusal{kTooLong, tooLong(longest)};
}

/// Removes what would make the engine decompress the body, parse a form, compress the answer or send a part of it.
void simplify(httplib::Request& request) {
  for (const char* name : {"Content-Encoding", "Content-Type", "Accept-Encoding"}) request.headers.erase(name);
  request.ranges.clear();
}

/// A line for the log about the request that this thread serves.
std::string aboutCurrent(std::string_view what) {
  const Connection& connection = *current.connection;
  const std::string_view line = std::string_view(connection.head()).substr(0, connection.head().find('\r'));
  return connection.peer() + " \"" + std::string(line.substr(0, 100)) + "\" " + std::string(what);
}

}  // namespace

bool isPost(const httplib::Request& request) {
  return (request.method == "POST" || request.method == "PUT") && request.path != "/_faults";
}

void fail(httplib::Response& response, int status, std::string_view error) {
  response.status = status;
  response.set_content(errorJson(error) + "\n", "application/json");
}

void refusePost(Counters& counters, Count count, std::string_view reason) {
  counters.warn(count, aboutCurrent("was reset: " + std::string(reason)));
  current.connection->breakOff();
}

void refuseTooLong(Counters& counters, httplib::Response& response, std::size_t longest) {
  counters.warn(Count::postsTooLong, aboutCurrent("got 413, and its records are lost: " + tooLong(longest)));
  fail(response, kTooLong, tooLong(longest));
}

HttpServer::HttpServer(const Limits& limits, Counters& counters) : limits_(limits), counters_(counters) {
  set_payload_max_length(limits.largestBody);
  // The engine announces these limits to clients; this layer enforces them.
  set_keep_alive_timeout(limits.keepAlive.count());
  set_keep_alive_max_count(kRequestsOfOneConnection);
  set_socket_options([](int socket) {
    const int on = 1;  // a restart finds its port free; a second server does not
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  });
  set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
    if (!current.refusal) return HandlerResponse::Unhandled;
    refuse(request, *current.refusal, response);
    return HandlerResponse::Handled;
  });
}

std::optional<Refusal> HttpServer::refusalOf(const httplib::Request& request) const {
  for (const Refuse& refuse : refusing_) {
    if (auto refusal = refuse(request)) return refusal;
  }
  return refuseBody(request, limits_.largestBody);
}

void HttpServer::refuse(const httplib::Request& request, const Refusal& refusal, httplib::Response& response) {
  if (isPost(request)) {
    if (refusal.status == kTooLong) return refuseTooLong(counters_, response, limits_.largestBody);
    const bool isForAccess = refusal.status == 401 || refusal.status == 403;
    return refusePost(counters_, isForAccess ? Count::postsRefused : Count::postsInvalid, refusal.reason);
  }
  counters_.warn(Count::readsRefused, aboutCurrent("was refused: " + refusal.reason));
  fail(response, refusal.status, refusal.reason);
  // A browser asks its user for a name and a token.
  if (refusal.status == 401) response.set_header("WWW-Authenticate", R"(Basic realm="sqm-collector", charset="UTF-8")");
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

void HttpServer::run(int signals, const std::function<bool()>& onSignal, const std::function<void()>& onStop,
                     const MakeChannel& makeChannel) {
  ThreadPool posts(limits_.posts);
  ThreadPool reads(limits_.reads);
  ConnectionPoller poller(svr_sock_, limits_, counters_, makeChannel, [&](Connection& connection, auto done) {
    ThreadPool& threads = connection.isPost() ? posts : reads;
    connection.servedBy(threads);
    threads.run([this, &connection, done = std::move(done)] {
      serve(connection);
      done();
    });
  });
  poller.run(signals, onSignal);
  onStop();
  const Descriptor listener(svr_sock_.exchange(INVALID_SOCKET));  // also ends the answers that are made piece by piece
  poller.end();
}

Connection& HttpServer::connection() { return *current.connection; }

void HttpServer::serve(Connection& connection) {
  const auto begin = Clock::now();
  current.connection = &connection;
  current.refusal.reset();
  try {
    answer(connection);
  } catch (const std::exception&) {  // no memory for the head of a request
    connection.breakOff();
  }
  if (connection.hasGivenWay()) {
    counters_.warn(Count::connectionsTimedOut, aboutCurrent("was slow, and gave way to requests that waited"));
  }
  if (connection.isPost()) {
    counters_.addPostDuration(Clock::now() - begin);
  } else {
    counters_.add(Count::readsAnswered);
  }
}

/// Answers a request whose head has arrived.
void HttpServer::answer(Connection& connection) {
  bool isClosing = false;
  const bool isWritten = process_request(connection, false, isClosing, [&](httplib::Request& request) {
    connection.endHead();
    const bool isRead = request.method == "POST" || request.method == "PUT";
    current.refusal = refusalOf(request);
    if (current.refusal || (hasBody(request) && !isRead)) {
      connection.endBy(Connection::End::drain);
      request.headers.erase("Expect");
      request.headers.erase("Connection");
      request.headers.emplace("Connection", "close");
    }
    if (isRead && !hasBody(request)) request.headers.emplace("Content-Length", "0");
    simplify(request);
  });
  if (!connection.isHeadRead()) connection.endBy(Connection::End::drain);
  if (!isWritten || isClosing) connection.endBy(Connection::End::close);
}

}  // namespace collector
