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

/// Why a request is not answered as asked.
struct Refusal {
  int status;
  std::string reason;
};

/// Looks at the head of a request.
using Refuse = std::function<std::optional<Refusal>(const httplib::Request&)>;

/// Answers with a status and {"error":"…"}.
void fail(httplib::Response& response, int status, std::string_view error);

/// The HTTP engine behind a small layer of our own that accepts the connections and gives each a thread: a slow client
/// holds up nobody, a connection can be reset by a handler, and the end comes at once.
///
/// Bodies reach the content readers as they were sent: neither decompressed nor taken apart. A body that is announced
/// to be longer than the limit is refused before a byte of it is read.
class HttpServer : public httplib::Server {
 public:
  explicit HttpServer(const Limits& limits);

  /// Refuses these requests, too. Before any is served.
  void refuseToo(Refuse refuse) { refusing_.push_back(std::move(refuse)); }

  /// Listens on `port` of `address`, on a free one for 0. Gives the port. Throws std::runtime_error.
  int listenOn(const std::string& address, int port);

  /// Serves until the descriptor `stop` can be read. Then it calls `onStop`, accepts nobody any more, lets the answers
  /// that are under way finish, for a moment, and returns when the last connection is closed.
  void run(int stop, const std::function<void()>& onStop);

  const Limits& limits() const { return limits_; }

  /// The connection whose request the calling thread answers. Only for handlers.
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
