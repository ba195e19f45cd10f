#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include <httplib.h>

#include "tools/collector/http/Channel.h"
#include "tools/collector/http/ThreadPool.h"

namespace collector {

using Clock = std::chrono::steady_clock;

/// The resources that clients may use.
struct Limits {
  std::size_t connections = 10'000;      ///< at a time
  std::size_t posts = 256;               ///< whose bodies are read or stored at a time; others wait
  std::size_t reads = 64;                ///< that are answered at a time; others wait
  std::chrono::seconds stall{10};        ///< without a byte in either direction
  std::chrono::seconds request{120};     ///< from the first byte of a request to its last
  std::chrono::seconds keepAlive{30};    ///< before the first byte of a request
  std::size_t largestBody = 256U << 20;  ///< bytes
  std::size_t connectionsOfAddress = 0;  ///< at a time; 0: no limit
  std::size_t requestsOfAddress = 0;     ///< in a second; 0: no limit
};

/// A client's connection, through which the HTTP engine reads and writes. It also keeps the head of the request as it
/// was sent, limits the memory and time that a client can take, and can be reset.
///
/// Threading: one thread at a time uses it; the `stop` functions may be called on any.
class Connection : public httplib::Stream {
 public:
  Connection(std::unique_ptr<Channel> channel, std::string peer, const Limits& limits);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() override;

  /// The address of the client, as text.
  const std::string& peer() const { return peer_; }

  /// What `receiveHead` or `drain` waits for.
  enum class Progress : std::uint8_t { done, awaitsInput, awaitsOutput, failed };

  /// Reads what has arrived of the next request, without waiting, until its head is whole. Fails when it is too long,
  /// and when the client has closed the connection.
  Progress receiveHead();

  /// When to give up waiting for the rest of the head.
  Clock::time_point headDeadline() const { return headDeadline_; }

  /// True when the head is that of a POST or PUT.
  bool isPost() const { return head_.starts_with("POST ") || head_.starts_with("PUT "); }

  /// The threads of which one serves the request. When all of them are taken and other requests wait, the connection is
  /// closed once the server has waited for the client for `Limits::stall` in all.
  void servedBy(ThreadPool& threads) { threads_ = &threads; }
  bool hasGivenWay() const { return hasGivenWay_; }

  /// Marks the end of the head for the engine: what follows is the body.
  void endHead() { isHeadRead_ = true; }
  bool isHeadRead() const { return isHeadRead_; }

  /// The request line and the headers, as the client sent them.
  const std::string& head() const { return head_; }

  /// What becomes of the connection after the request, in the order of precedence.
  enum class End : std::uint8_t {
    none,   ///< it serves the next request
    close,  ///< it is closed
    drain,  ///< it is closed after what the client still sends, because part of the request is not read
    reset   ///< it is closed so that the client's system reports a reset; no more bytes are written
  };
  void endBy(End end) { end_ = std::max(end_, end); }
  End end() const { return end_; }
  void breakOff() { endBy(End::reset); }

  /// Reads and drops what the client still sends, without waiting. Done when the client has closed its side: closing a
  /// socket with unread bytes resets the connection, and the client might not receive the answer.
  Progress drain();

  /// Tells the client that nothing more is sent.
  void finish() { channel_->finish(); }

  /// True when the client has closed its side.
  bool hasPeerLeft() const;

  void stopReading() const;
  void stopAll() const;

  // httplib::Stream
  bool is_readable() const override { return true; }
  bool is_writable() const override { return end_ != End::reset; }
  ssize_t read(char* out, std::size_t size) override;
  ssize_t write(const char* data, std::size_t size) override;
  void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}  // no handler uses the addresses
  void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  socket_t socket() const override { return channel_->socket(); }

 private:
  bool waitFor(short events, Clock::time_point until);
  bool hasWholeHead();
  ssize_t fill(Clock::time_point until);

  std::unique_ptr<Channel> channel_;
  std::string peer_;
  const Limits& limits_;
  std::unique_ptr<char[]> buffer_;  ///< allocated while it has bytes: most connections have none
  std::size_t bufferBegin_ = 0;
  std::size_t bufferEnd_ = 0;
  std::size_t searched_ = 0;  ///< up to here the buffer has no end of the head
  Clock::time_point headDeadline_;
  Clock::time_point deadline_;  ///< of the whole request
  ThreadPool* threads_ = nullptr;
  Clock::duration waited_{0};  ///< for the client, while a thread serves the request
  bool hasGivenWay_ = false;
  std::string head_;
  std::size_t lineLength_ = 0;
  bool isHeadRead_ = false;
  End end_ = End::none;
};

}  // namespace collector
