#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <httplib.h>

#include "tools/collector/Counters.h"
#include "tools/collector/http/Channel.h"
#include "tools/collector/http/Connection.h"
#include "tools/collector/http/ThreadPool.h"

namespace collector {

/// Why a request is refused. A post is reset instead of being answered with the status, unless it is too long (413).
struct Refusal {
  int status;
  std::string reason;
};

/// Decides by the head of a request whether it is refused.
using Refuse = std::function<std::optional<Refusal>(const httplib::Request&)>;

/// Answers with a status and {"error":"…"}.
void fail(httplib::Response& response, int status, std::string_view error);

/// Resets the connection of a body that is not kept, and says so in the log: a client takes any status for the receipt
/// of its post, and deletes what it has sent. For handlers only.
void refusePost(Counters& counters, Count count, std::string_view reason);

/// Refuses a body of more than `longest` bytes with a status: the one that could never be kept. For handlers only.
void refuseTooLong(Counters& counters, httplib::Response& response, std::size_t longest);

/// True when a body sent with this request is to be kept: a POST or PUT to a path that is not the server's own.
bool isPost(const httplib::Request& request);

/// The HTTP engine with a layer of our own that waits for requests on one thread and serves them on others: a slow
/// client delays no other, posts and reads do not delay each other, a handler can reset its connection, and the server
/// ends at once.
///
/// Content readers get bodies as they were sent: neither decompressed nor parsed. A body with a Content-Length over the
/// limit is refused before a byte of it is read.
class HttpServer : public httplib::Server {
 public:
  HttpServer(const Limits& limits, Counters& counters);

  /// Adds a rule for refusals. Call it before `run`.
  void addRefusal(Refuse refuse) { refusing_.push_back(std::move(refuse)); }

  /// Listens on `port` of `address`; 0 means a free port. Returns the port. Throws std::runtime_error.
  int listenOn(const std::string& address, int port);

  /// Serves until `onSignal`, which is called when the descriptor `signals` is readable, returns false. Then it calls
  /// `onStop`, accepts no more connections, gives the answers in progress a second to finish, and returns when the last
  /// connection is closed.
  void run(int signals, const std::function<bool()>& onSignal, const std::function<void()>& onStop,
           const MakeChannel& makeChannel);

  const Limits& limits() const { return limits_; }

  /// The connection of the request that the calling thread handles. For handlers only.
  static Connection& connection();

 private:
  void serve(Connection& connection);
  void answer(Connection& connection);
  void refuse(const httplib::Request& request, const Refusal& refusal, httplib::Response& response);
  std::optional<Refusal> refusalOf(const httplib::Request& request) const;

  const Limits limits_;
  Counters& counters_;
  std::vector<Refuse> refusing_;
};

}  // namespace collector
