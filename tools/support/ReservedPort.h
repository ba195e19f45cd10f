#pragma once

#include <string>

namespace tools {

/// A port of 127.0.0.1 at which nobody listens, and that no other program gets as a free one. Who connects is refused,
/// until a server that is told the port listens there.
class ReservedPort {
 public:
  /// Throws std::system_error when there is no port.
  ReservedPort();
  ReservedPort(const ReservedPort&) = delete;
  ReservedPort& operator=(const ReservedPort&) = delete;
  ~ReservedPort();

  int number() const { return number_; }

  /// "http://127.0.0.1:<number>"
  std::string address() const { return "http://127.0.0.1:" + std::to_string(number_); }

 private:
  int socket_ = -1;
  int number_ = 0;
};

}  // namespace tools
