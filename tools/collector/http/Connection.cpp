#include "tools/collector/http/Connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <utility>

namespace collector {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kBuffer = 64 * 1024;       // also the longest head
constexpr std::size_t kLongestLine = 16 * 1024;  // of the head, or between the chunks of a body
constexpr milliseconds kBetweenChecks{250};      // whether others need the thread of a slow client

/// What to wait for after a transfer without bytes.
Connection::Progress progressOf(const Transfer& transfer) {
  if (transfer.awaited == POLLIN) return Connection::Progress::awaitsInput;
  if (transfer.awaited == POLLOUT) return Connection::Progress::awaitsOutput;
  return Connection::Progress::failed;
}

}  // namespace

Connection::Connection(std::unique_ptr<Channel> channel, std::string peer, const Limits& limits)
    : channel_(std::move(channel)),
      peer_(std::move(peer)),
      limits_(limits),
      headDeadline_(Clock::now() + limits.keepAlive) {}

Connection::~Connection() {
  if (end_ == End::reset) channel_->resetAtEnd();
}

Connection::Progress Connection::receiveHead() {
  if (isHeadRead_) {  // the request before is finished
    isHeadRead_ = false;
    lineLength_ = 0;
    waited_ = {};
    headDeadline_ = Clock::now() + limits_.keepAlive;
    deadline_ = {};
    searched_ = bufferBegin_;
  }
  for (;;) {
    if (bufferBegin_ != bufferEnd_) {
      if (deadline_ == Clock::time_point{}) deadline_ = Clock::now() + limits_.request;
      headDeadline_ = std::min(deadline_, Clock::now() + limits_.stall);
      if (hasWholeHead()) return Progress::done;
    }
    if (bufferEnd_ - bufferBegin_ == kBuffer) return Progress::failed;
    if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(kBuffer);
    if (bufferBegin_ != 0) {
      std::memmove(buffer_.get(), buffer_.get() + bufferBegin_, bufferEnd_ - bufferBegin_);
      searched_ -= bufferBegin_;
      bufferEnd_ -= std::exchange(bufferBegin_, 0);
    }
    const Transfer transfer = channel_->receive(buffer_.get() + bufferEnd_, kBuffer - bufferEnd_);
    if (transfer.count > 0) {
      bufferEnd_ += static_cast<std::size_t>(transfer.count);
      continue;
    }
    if (bufferEnd_ == 0) buffer_.reset();
    return transfer.count == 0 ? Progress::failed : progressOf(transfer);
  }
}

/// Finds the empty line that ends the head, and then keeps the head.
bool Connection::hasWholeHead() {
  constexpr std::string_view kEmptyLine = "\r\n";
  constexpr std::string_view kEnd = "\n\r\n";
  const std::string_view received(buffer_.get() + bufferBegin_, bufferEnd_ - bufferBegin_);
  const std::size_t searched = searched_ - bufferBegin_;
  const auto found = received.find(kEnd, searched - std::min(searched, kEnd.size() - 1));
  searched_ = bufferEnd_;
  if (received.starts_with(kEmptyLine)) {
    head_ = kEmptyLine;
  } else if (found != std::string_view::npos) {
    head_ = received.substr(0, found + kEnd.size());
  } else {
    return false;
  }
  return true;
}

Connection::Progress Connection::drain() {
  if (!buffer_) buffer_ = std::make_unique_for_overwrite<char[]>(kBuffer);
  for (;;) {
    const Transfer transfer = channel_->receive(buffer_.get(), kBuffer);
    if (transfer.count == 0) return Progress::done;
    if (transfer.count < 0) return progressOf(transfer);
  }
}

bool Connection::hasPeerLeft() const {
  pollfd descriptor = {.fd = socket(), .events = POLLRDHUP, .revents = 0};
  return poll(&descriptor, 1, 0) > 0;
}

void Connection::stopReading() const { shutdown(socket(), SHUT_RD); }
void Connection::stopAll() const { shutdown(socket(), SHUT_RDWR); }

ssize_t Connection::read(char* out, std::size_t size) {
  if (bufferBegin_ == bufferEnd_) {
    const ssize_t filled = fill(std::min(deadline_, Clock::now() + limits_.stall));
    if (filled <= 0) return filled;
  }
  const std::size_t count = std::min(size, bufferEnd_ - bufferBegin_);
  std::memcpy(out, buffer_.get() + bufferBegin_, count);
  bufferBegin_ += count;
  if (size == 1) {  // the engine reads lines byte by byte, of any length
    lineLength_ = *out == '\n' ? 0 : lineLength_ + 1;
    if (lineLength_ > kLongestLine) return -1;
  }
  return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* data, std::size_t size) {
  // The engine itself answers a head that it cannot read. A client takes any status for the receipt of its post.
  if (isPost() && !isHeadRead_) breakOff();
  std::size_t written = 0;
  while (written < size) {
    if (end_ == End::reset) return -1;
    const Transfer transfer = channel_->send(data + written, size - written);
    if (transfer.count >= 0) {
      written += static_cast<std::size_t>(transfer.count);
    } else if (transfer.awaited == 0 || !waitFor(transfer.awaited, Clock::now() + limits_.stall)) {
      endBy(End::close);
      return -1;
    }
  }
  return static_cast<ssize_t>(written);
}

/// Returns false when none of the events occurs before `until`, or when the connection gives way.
bool Connection::waitFor(short events, Clock::time_point until) {
  for (;;) {
    const auto begin = Clock::now();
    const auto longest = std::clamp(std::chrono::ceil<milliseconds>(until - begin), milliseconds(0), kBetweenChecks);
    pollfd descriptor = {.fd = socket(), .events = events, .revents = 0};
    const int count = poll(&descriptor, 1, static_cast<int>(longest.count()));
    const bool hasFailed = count < 0 && errno != EINTR;
    const auto now = Clock::now();
    waited_ += now - begin;
    hasGivenWay_ = waited_ > limits_.stall && threads_->mustGiveWay();
    if (count > 0 || hasFailed || hasGivenWay_ || now >= until) return count > 0 && !hasGivenWay_;
  }
}

/// Reads into the empty buffer. Returns the number of bytes, 0 at the end, -1 on failure or when none arrive in time.
ssize_t Connection::fill(Clock::time_point until) {
  bufferBegin_ = bufferEnd_ = 0;
  for (;;) {
    const Transfer transfer = channel_->receive(buffer_.get(), kBuffer);
    if (transfer.count >= 0) {
      bufferEnd_ = static_cast<std::size_t>(transfer.count);
      return transfer.count;
    }
    if (transfer.awaited == 0 || !waitFor(transfer.awaited, until)) return -1;
  }
}

}  // namespace collector
