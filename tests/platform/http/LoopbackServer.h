#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace sqm::tests {

/// What a `LoopbackServer` does with one request.
struct Answer {
  enum class When { onConnect, afterHead, afterRequest };
  enum class Then {
    keepOpen,     ///< and read the next request
    close,        ///< once the bytes are sent
    repeat,       ///< send `repeated` again and again, until the client closes
    stopReading,  ///< and keep the connection open
  };

  std::string bytes;  ///< sent unchanged; empty: no answer
  Then then = Then::keepOpen;
  When when = When::afterRequest;
  std::string repeated = {};
};

/// A whole response with this status, as "404 Not Found", and this body.
Answer response(std::string_view status, std::string_view body = {});

struct ReceivedRequest {
  std::size_t connection = 0;  ///< from 0, in the order in which they were opened
  std::string head;            ///< the empty line included
  std::string body;
};

/// A server on a free port of 127.0.0.1 that sends the answers of a script in order, and repeats the last of them.
///
/// Threading: serves on a thread of its own; every operation may be called from any thread.
class LoopbackServer {
 public:
  explicit LoopbackServer(std::vector<Answer> script);
  explicit LoopbackServer(Answer always) : LoopbackServer(std::vector{std::move(always)}) {}
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;
  ~LoopbackServer();

  int port() const;

  /// "http://127.0.0.1:<port><path>"
  std::string url(std::string_view path = "/collect") const;

  /// Blocks until the heads of this many requests have arrived. Returns false when they do not.
  bool waitForHeads(std::size_t count) const;

  /// Blocks until this many whole requests have arrived. Returns false when they do not.
  bool waitForRequests(std::size_t count) const;

  /// Blocks until clients have closed this many connections. Returns false when they do not.
  bool waitForClosed(std::size_t count) const;

  /// The whole requests, in the order of their arrival.
  std::vector<ReceivedRequest> requests() const;

  std::size_t connections() const;

 private:
  class Loop;
  std::unique_ptr<Loop> loop_;
};

}  // namespace sqm::tests
