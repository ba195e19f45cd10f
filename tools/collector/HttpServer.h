#pragma once

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <httplib.h>

#include "tools/collector/Connection.h"

namespace collector {

/// The answer to a request that is refused.
struct Refusal {
  int status;
  std::string reason;
};

/// Decides by the head of a request whether it is refused.
using Refuse = std::function<std::optional<Refusal>(const httplib::Request&)>;

/// Answers with a status and {"error":"…"}.
void fail(httplib::Response& response, int status, std::string_view error);

/// The HTTP engine with a layer of our own that accepts the connections and serves each on a thread: a slow client
/// delays no other, a handler can reset its connection, and the server ends at once.
///
/// Content readers get bodies as they were sent: neither decompressed nor parsed. A body with a Content-Length over the
/// limit is refused before a byte of it is read.
class HttpServer : public httplib::Server {
 public:
  explicit HttpServer(const Limits& limits);

  /// Adds a rule for refusals. Call it before `run`.
  void addRefusal(Refuse refuse) { refusing_.push_back(std::move(refuse)); }

  /// Listens on `port` of `address`; 0 means a free port. Returns the port. Throws std::runtime_error.
  int listenOn(const std::string& address, int port);

  /// Serves until the descriptor `stop` is readable. Then it calls `onStop`, accepts no more connections, gives the
  /// answers in progress a second to finish, and returns when the last connection is closed.
  void run(int stop, const std::function<void()>& onStop);

  const Limits& limits() const { return limits_; }

  /// The connection of the request that the calling thread handles. For handlers only.
  static Connection& connection();

 private:
  void accept();
  void serve(int socket);
  void answer(Connection& connection);
  void end();
  std::optional<Refusal> refusalOf(const httplib::Request& request) const;

  const Limits limits_;
  std::vector<Refuse> refusing_;
  std::mutex mutex_;
  std::condition_variable isDone_;
  std::size_t threads_ = 0;
  bool isEnding_ = false;
  std::set<const Connection*> connections_;
};

}  // namespace collector
