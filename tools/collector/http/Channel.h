#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <sys/types.h>

namespace collector {

/// The result of an operation that does not wait.
struct Transfer {
  ssize_t count = -1;  ///< bytes; 0: the peer has finished; below 0: none
  short awaited = 0;   ///< when there are none: the event of poll() before the next attempt; 0: the channel has failed
};

/// A byte stream to a client over a non-blocking socket: unencrypted, unless a derived class encrypts it.
class Channel {
 public:
  /// Takes ownership of the socket.
  explicit Channel(int socket);
  Channel(const Channel&) = delete;
  Channel& operator=(const Channel&) = delete;
  virtual ~Channel();

  virtual Transfer receive(char* out, std::size_t size);
  virtual Transfer send(const char* data, std::size_t size);

  /// Tells the peer that nothing more is sent.
  virtual void finish();

  /// Makes the destructor reset the connection.
  void resetAtEnd() const;

  int socket() const { return socket_; }

 private:
  int socket_;
};

/// Makes the channel of an accepted socket, of which it takes ownership.
using MakeChannel = std::function<std::unique_ptr<Channel>(int socket)>;

}  // namespace collector
