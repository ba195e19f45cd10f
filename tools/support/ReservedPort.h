#pragma once

#include <string>

namespace tools {

/// A port of 127.0.0.1 without a listener, which the system assigns to no other program. Connections are
/// refused until a server that is given the port listens there.
class ReservedPort {
 public:
  /// Throws std::system_error when there is no free port.
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
