#include "tools/collector/http/ConnectionPoller.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <exception>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace collector {

namespace {

using std::chrono::milliseconds;
using Progress = Connection::Progress;

constexpr int kAcceptedAtATime = 64;
constexpr milliseconds kListenPause{50};           // after a failure to accept: too many open files, as a rule
constexpr milliseconds kDrain{1000};               // for what a client still sends after the answer
constexpr std::chrono::seconds kGrace{1};          // for answers in progress when the server ends
constexpr std::chrono::seconds kLongestDelay{10};  // of a request over the limit of its address

int millisecondsUntil(Clock::time_point time) {
  if (time == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<milliseconds>(time - Clock::now()).count();
  return static_cast<int>(std::clamp<milliseconds::rep>(left, 0, 3'600'000));
}

void watch(int epoll, int operation, int descriptor, std::uint32_t events, const void* tag) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): the tag comes back as it is
  epoll_event event = {.events = events, .data = {.ptr = const_cast<void*>(tag)}};
  epoll_ctl(epoll, operation, descriptor, &event);
}

}  // namespace

struct ConnectionPoller::Entry {
  Entry(std::unique_ptr<Channel> channel, const Address& client, const Limits& limits)
      : connection(std::move(channel), client.text(), limits), address(client) {}

  Connection connection;
  Address address;
  State state = State::waiting;
  Time due = Time::max();
  Entries::iterator self;
  Entry* nextDone = nullptr;
};

Descriptor::Descriptor(int descriptor) : descriptor_(descriptor) {
  if (descriptor < 0) throw std::system_error(errno, std::generic_category(), "no descriptor");
}

Descriptor::~Descriptor() { ::close(descriptor_); }

ConnectionPoller::ConnectionPoller(int listener, const Limits& limits, Counters& counters, MakeChannel makeChannel,
                                   Dispatch dispatch)
    : listener_(listener),
      limits_(limits),
      counters_(counters),
      makeChannel_(std::move(makeChannel)),
      dispatch_(std::move(dispatch)),
      epoll_(epoll_create1(EPOLL_CLOEXEC)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      addresses_(limits.connectionsOfAddress, limits.requestsOfAddress) {
  watch(epoll_, EPOLL_CTL_ADD, wake_, EPOLLIN, &wake_);
  watch(epoll_, EPOLL_CTL_ADD, listener_, 0, &listener_);
}

ConnectionPoller::~ConnectionPoller() = default;

void ConnectionPoller::run(int signals, const std::function<bool()>& onSignal) {
  watch(epoll_, EPOLL_CTL_ADD, signals, EPOLLIN, &isSignalled_);
  listen(true);
  for (;;) {
    turn(Time::max());
    if (std::exchange(isSignalled_, false) && !onSignal()) break;
  }
  watch(epoll_, EPOLL_CTL_DEL, signals, 0, nullptr);
}

void ConnectionPoller::end() {
  isEnding_ = true;
  listen(false);
  listenAgainAt_ = Time::max();
  for (Entries* entries : {&waiting_, &others_}) {
    for (auto next = entries->begin(); next != entries->end();) {
      Entry& entry = *next++;
      entry.state == State::served ? entry.connection.stopReading() : close(entry);
    }
  }
  closed_.clear();
  const Time forcedAt = Clock::now() + kGrace;
  bool isForced = false;
  while (!others_.empty()) {
    turn(isForced ? Time::max() : forcedAt);
    if (isForced || Clock::now() < forcedAt) continue;
    isForced = true;
    for (const Entry& entry : others_) entry.connection.stopAll();
  }
}

/// Waits for events, at most until the time, and handles them.
void ConnectionPoller::turn(Time until) {
  if (!timers_.empty()) until = std::min(until, timers_.begin()->first);
  std::array<epoll_event, 256> events{};
  const int count =
      epoll_wait(epoll_, events.data(), events.size(), millisecondsUntil(std::min(until, listenAgainAt_)));
  for (int i = 0; i < count; ++i) {
    void* const tag = events[static_cast<std::size_t>(i)].data.ptr;
    if (tag == &listener_) {
      accept();
    } else if (tag == &wake_) {
      takeBack();
    } else if (tag == &isSignalled_) {
      isSignalled_ = true;
    } else {
      Entry& entry = *static_cast<Entry*>(tag);
      if (entry.state == State::waiting) attend(entry, &ConnectionPoller::proceed);
      if (entry.state == State::draining) attend(entry, &ConnectionPoller::drain);
    }
  }
  const Time now = Clock::now();
  while (!timers_.empty() && timers_.begin()->first <= now) attend(*timers_.begin()->second, &ConnectionPoller::expire);
  closed_.clear();
  if (listenAgainAt_ <= now) listenAgainAt_ = Time::max();
  if (!isEnding_ && !isListening_ && listenAgainAt_ == Time::max() && hasRoom()) listen(true);
}

/// Takes a step with a connection. For lack of memory or threads it is reset, and the client tries again.
void ConnectionPoller::attend(Entry& entry, void (ConnectionPoller::*step)(Entry&)) {
  try {
    (this->*step)(entry);
  } catch (const std::exception&) {
    entry.connection.breakOff();
    close(entry);
  }
}

void ConnectionPoller::accept() {
  for (int i = 0; i < kAcceptedAtATime && isListening_; ++i) {
    if (!hasRoom()) return listen(false);
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as every call for an address of any family has it
    auto* const peer = reinterpret_cast<sockaddr*>(&address);
    const int socket = ::accept4(listener_, peer, &length, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (socket >= 0) {
      if (count() >= limits_.connections) makeRoom();
      add(socket, Address(address));
    } else if (errno == EAGAIN) {
      return;
    } else if (errno != ECONNABORTED) {
      makeRoom();
      listen(false);
      listenAgainAt_ = Clock::now() + kListenPause;
    }
  }
}

void ConnectionPoller::add(int socket, const Address& client) {
  try {
    auto channel = makeChannel_(socket);
    if (!addresses_.join(client)) {
      channel->resetAtEnd();
      counters_.warn(Count::connectionsOverLimit, client.text() + " has too many connections; a new one was reset");
      return;
    }
    counters_.add(Count::connectionsAccepted);
    Entry& entry = waiting_.emplace_back(std::move(channel), client, limits_);
    entry.self = std::prev(waiting_.end());
    watch(epoll_, EPOLL_CTL_ADD, socket, EPOLLONESHOT, &entry);
    attend(entry, &ConnectionPoller::proceed);
  } catch (const std::exception&) {  // no memory: the socket is closed
  }
}

std::size_t ConnectionPoller::count() const { return waiting_.size() + others_.size(); }

/// True when one more connection can be accepted, in place of one that waits if need be.
bool ConnectionPoller::hasRoom() const { return count() < limits_.connections || !waiting_.empty(); }

/// Closes the connection that has waited longest, if any waits.
void ConnectionPoller::makeRoom() {
  if (waiting_.empty()) return;
  counters_.warn(Count::connectionsCrowdedOut, "there are as many connections as --connections allows; the one of " +
                                                   waiting_.front().connection.peer() +
                                                   " that waited longest was closed");
  close(waiting_.front());
}

void ConnectionPoller::listen(bool isListening) {
  isListening_ = isListening;
  watch(epoll_, EPOLL_CTL_MOD, listener_, isListening ? EPOLLIN : 0U, &listener_);
}

/// Reads what has arrived of the head.
void ConnectionPoller::proceed(Entry& entry) {
  const Progress progress = entry.connection.receiveHead();
  switch (progress) {
    case Progress::done:
      return pass(entry);
    case Progress::failed:
      return close(entry);
    case Progress::awaitsInput:
    case Progress::awaitsOutput:
      return await(entry, progress, entry.connection.headDeadline());
  }
}

/// Serves the request whose head is whole, when the limit of its address allows it.
void ConnectionPoller::pass(Entry& entry) {
  const Time now = Clock::now();
  const auto wait = addresses_.waitOf(entry.address, now, kLongestDelay);
  if (!wait) {
    entry.connection.breakOff();
    counters_.warn(Count::requestsOverLimit, entry.connection.peer() + " sends too many requests; one was reset");
    return close(entry);
  }
  if (wait->count() == 0) return serve(entry);
  counters_.add(Count::requestsDelayed);
  move(entry, State::delayed);
  setTimer(entry, now + *wait);
}

void ConnectionPoller::serve(Entry& entry) {
  setTimer(entry, Time::max());
  move(entry, State::served);
  dispatch_(entry.connection, [this, &entry] {
    const std::lock_guard lock(mutex_);
    entry.nextDone = std::exchange(done_, &entry);
    eventfd_write(wake_, 1);
  });
}

/// Takes back the connections whose requests are served.
void ConnectionPoller::takeBack() {
  eventfd_t ignored = 0;
  eventfd_read(wake_, &ignored);
  std::unique_lock lock(mutex_);
  Entry* next = std::exchange(done_, nullptr);
  lock.unlock();
  while (next != nullptr) attend(*std::exchange(next, next->nextDone), &ConnectionPoller::settle);
}

void ConnectionPoller::settle(Entry& entry) {
  using End = Connection::End;
  if (entry.connection.end() == End::reset) return close(entry);
  if (isEnding_ || entry.connection.end() == End::close) {
    entry.connection.finish();
    return close(entry);
  }
  if (entry.connection.end() == End::drain) {
    entry.connection.finish();
    move(entry, State::draining);
    setTimer(entry, Clock::now() + kDrain);
    return drain(entry);
  }
  move(entry, State::waiting);
  proceed(entry);
}

void ConnectionPoller::drain(Entry& entry) {
  const Progress progress = entry.connection.drain();
  const bool isOver = progress == Progress::done || progress == Progress::failed;
  isOver ? close(entry) : await(entry, progress, entry.due);
}

void ConnectionPoller::expire(Entry& entry) {
  if (entry.state == State::delayed) return serve(entry);
  if (entry.state == State::waiting) counters_.add(Count::connectionsTimedOut);
  close(entry);
}

/// Waits for an event of the connection, at most until the time.
void ConnectionPoller::await(Entry& entry, Progress progress, Time until) {
  const std::uint32_t event = progress == Progress::awaitsInput ? EPOLLIN : EPOLLOUT;
  watch(epoll_, EPOLL_CTL_MOD, entry.connection.socket(), event | EPOLLONESHOT, &entry);
  setTimer(entry, until);
}

void ConnectionPoller::move(Entry& entry, State state) {
  Entries& from = entry.state == State::waiting ? waiting_ : others_;
  Entries& to = state == State::closed ? closed_ : state == State::waiting ? waiting_ : others_;
  to.splice(to.end(), from, entry.self);
  entry.state = state;
}

/// Sets the time at which the connection expires; the greatest time means never.
void ConnectionPoller::setTimer(Entry& entry, Time due) {
  if (entry.due == due) return;
  if (due != Time::max()) timers_.emplace(due, &entry);
  timers_.erase({std::exchange(entry.due, due), &entry});
}

void ConnectionPoller::close(Entry& entry) {
  setTimer(entry, Time::max());
  addresses_.leave(entry.address, Clock::now());
  counters_.add(Count::connectionsEnded);
  move(entry, State::closed);
}

}  // namespace collector
