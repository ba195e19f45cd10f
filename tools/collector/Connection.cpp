#include "tools/collector/Connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace collector {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr std::size_t kLongestHead = 64 * 1024;
constexpr std::size_t kLongestLine = 16 * 1024;  // of the head, or between the chunks of a body
constexpr milliseconds kLinger{1000};

}  // namespace

Connection::Connection(int socket, const Limits& limits) : socket_(socket), limits_(limits) {
  const int on = 1;
  setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);  // the engine writes head and body apart
}

Connection::~Connection() {
  if (isBroken_) {
    const struct linger reset = {.l_onoff = 1, .l_linger = 0};
    setsockopt(socket_, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
  } else if (isLast_) {
    linger();
  }
  close(socket_);
}

/// Reads and drops what the client still sends, for a limited time: closing a socket with unread bytes resets the
/// connection, and the client might not receive the answer.
void Connection::linger() {
  shutdown(socket_, SHUT_WR);
  const Time until = Clock::now() + kLinger;
  do {
    end_ = begin_;
  } while (Clock::now() < until && fill(until) > 0);
}

bool Connection::waitForRequest() {
  head_.clear();
  lineLength_ = 0;
  isHeadRead_ = false;
  if (begin_ == end_ && fill(Clock::now() + limits_.keepAlive) <= 0) return false;
  deadline_ = Clock::now() + limits_.request;
  return true;
}

bool Connection::hasPeerLeft() const {
  pollfd descriptor = {.fd = socket_, .events = POLLRDHUP, .revents = 0};
  return poll(&descriptor, 1, 0) > 0;
}

void Connection::stopReading() const { shutdown(socket_, SHUT_RD); }
void Connection::stopAll() const { shutdown(socket_, SHUT_RDWR); }

bool Connection::is_readable() const { return begin_ != end_ || waitFor(POLLIN, Clock::now() + limits_.stall); }
bool Connection::is_writable() const { return !isBroken_; }

ssize_t Connection::read(char* out, std::size_t size) {
  if (begin_ == end_) {
    const ssize_t filled = fill(std::min(deadline_, Clock::now() + limits_.stall));
    if (filled <= 0) return filled;
  }
  const std::size_t count = std::min(size, end_ - begin_);
  std::memcpy(out, buffer_.data() + begin_, count);
  begin_ += count;
  if (size == 1) {  // the engine reads lines byte by byte, of any length
    lineLength_ = *out == '\n' ? 0 : lineLength_ + 1;
    if (lineLength_ > kLongestLine) return -1;
  }
  if (!isHeadRead_) {
    if (head_.size() >= kLongestHead) return -1;
    head_.append(out, count);
  }
  return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* data, std::size_t size) {
  std::size_t written = 0;
  while (written < size) {
    if (isBroken_) return -1;
    const ssize_t count = send(socket_, data + written, size - written, MSG_NOSIGNAL);
    if (count >= 0) {
      written += static_cast<std::size_t>(count);
    } else if (errno != EINTR && (errno != EAGAIN || !waitFor(POLLOUT, Clock::now() + limits_.stall))) {
      isLast_ = true;
      return -1;
    }
  }
  return static_cast<ssize_t>(written);
}

/// Returns false when none of the events occurs before `until`.
bool Connection::waitFor(short events, Time until) const {
  for (;;) {
    const auto left = std::chrono::ceil<milliseconds>(until - Clock::now()).count();
    pollfd descriptor = {.fd = socket_, .events = events, .revents = 0};
    const int count = poll(&descriptor, 1, static_cast<int>(std::max<milliseconds::rep>(left, 0)));
    if (count >= 0 || errno != EINTR) return count > 0;
  }
}

/// Reads into the empty buffer. Returns the number of bytes, 0 at the end, -1 on failure or when none arrive in time.
ssize_t Connection::fill(Time until) {
  begin_ = end_ = 0;
  for (;;) {
    const ssize_t count = recv(socket_, buffer_.data(), buffer_.size(), 0);
    if (count >= 0) {
      end_ = static_cast<std::size_t>(count);
      return count;
    }
    if (errno != EINTR && (errno != EAGAIN || !waitFor(POLLIN, until))) return -1;
  }
}

}  // namespace collector
