#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <string>

#include <httplib.h>

namespace collector {

/// The resources that a client may use.
struct Limits {
  std::size_t connections = 256;         ///< at a time; others wait to be accepted
  std::chrono::seconds stall{10};        ///< without a byte in either direction
  std::chrono::seconds request{120};     ///< from the first byte of a request to its last
  std::chrono::seconds keepAlive{30};    ///< between two requests
  std::size_t largestBody = 256U << 20;  ///< bytes
};

/// A client's connection, through which the HTTP engine reads and writes. It also keeps the head of the request as it
/// was sent, limits the memory and time that a client can take, and can be reset.
///
/// Threading: one thread serves it; the `stop` functions may be called on any.
class Connection : public httplib::Stream {
 public:
  /// Takes ownership of a non-blocking socket.
  Connection(int socket, const Limits& limits);
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() override;

  /// Waits for the first byte of a request. Returns false when none arrives and the connection must be closed.
  bool waitForRequest();

  /// Marks the end of the head: what follows is the body.
  void endHead() { isHeadRead_ = true; }
  bool isHeadRead() const { return isHeadRead_; }

  /// The request line and the headers, as the client sent them.
  const std::string& head() const { return head_; }

  /// Makes this request the connection's last, because part of it is not read.
  void closeAfterAnswer() { isLast_ = true; }
  bool isLast() const { return isLast_; }

  /// Resets the connection: no more bytes are written, and the client's system reports a reset.
  void breakOff() { isBroken_ = isLast_ = true; }

  /// True when the client has closed its side.
  bool hasPeerLeft() const;

  void stopReading() const;
  void stopAll() const;

  // httplib::Stream
  bool is_readable() const override;
  bool is_writable() const override;
  ssize_t read(char* out, std::size_t size) override;
  ssize_t write(const char* data, std::size_t size) override;
  void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}  // no handler uses the addresses
  void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  socket_t socket() const override { return socket_; }

 private:
  using Time = std::chrono::steady_clock::time_point;

  bool waitFor(short events, Time until) const;
  ssize_t fill(Time until);
  void linger();

  int socket_;
  const Limits& limits_;
  std::array<char, 65536> buffer_{};
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  Time deadline_;
  std::string head_;
  std::size_t lineLength_ = 0;
  bool isHeadRead_ = false;
  bool isLast_ = false;
  bool isBroken_ = false;
};

}  // namespace collector
