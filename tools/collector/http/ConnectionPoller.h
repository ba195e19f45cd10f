#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <set>
#include <utility>

#include "tools/collector/Counters.h"
#include "tools/collector/http/AddressLimits.h"
#include "tools/collector/http/Channel.h"
#include "tools/collector/http/Connection.h"

namespace collector {

/// An open file descriptor.
class Descriptor {
 public:
  /// Throws std::system_error with the reason in errno when the descriptor is below 0.
  explicit Descriptor(int descriptor);
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor();
  operator int() const { return descriptor_; }

 private:
  int descriptor_;
};

/// Accepts connections and waits on one thread for the heads of their requests, so that a connection without a request,
/// and a client that sends slowly, need no thread. It applies the limits of time, of connections and of addresses.
///
/// At the limit of connections, the connection that has waited longest without a whole head is closed in favour of a
/// new one: idle clients do not keep readers out.
class ConnectionPoller {
 public:
  /// Has the request whose head has arrived served on another thread, which calls `done` once at the end.
  using Dispatch = std::function<void(Connection& connection, std::function<void()> done)>;

  /// `listener` is a listening socket that does not block.
  ConnectionPoller(int listener, const Limits& limits, Counters& counters, MakeChannel makeChannel, Dispatch dispatch);
  ConnectionPoller(const ConnectionPoller&) = delete;
  ConnectionPoller& operator=(const ConnectionPoller&) = delete;
  ~ConnectionPoller();

  /// Runs until `onSignal`, which is called when the descriptor `signals` is readable, returns false.
  void run(int signals, const std::function<bool()>& onSignal);

  /// Accepts no more connections, gives the requests that are served a second to finish, and returns when the last is
  /// done.
  void end();

 private:
  /// `waiting`: for a head. `delayed`: by the limit of the address. `draining`: see Connection::End::drain.
  enum class State : std::uint8_t { waiting, delayed, served, draining, closed };
  struct Entry;
  using Entries = std::list<Entry>;
  using Time = Clock::time_point;

  void turn(Time until);
  void accept();
  void add(int socket, const Address& client);
  std::size_t count() const;
  bool hasRoom() const;
  void makeRoom();
  void listen(bool isListening);
  void attend(Entry& entry, void (ConnectionPoller::*step)(Entry&));
  void proceed(Entry& entry);
  void pass(Entry& entry);
  void serve(Entry& entry);
  void takeBack();
  void settle(Entry& entry);
  void drain(Entry& entry);
  void expire(Entry& entry);
  void await(Entry& entry, Connection::Progress progress, Time until);
  void move(Entry& entry, State state);
  void setTimer(Entry& entry, Time due);
  void close(Entry& entry);

  const int listener_;
  const Limits& limits_;
  Counters& counters_;
  MakeChannel makeChannel_;
  Dispatch dispatch_;
  Descriptor epoll_;
  Descriptor wake_;  ///< readable when `done_` is not empty
  AddressLimits addresses_;
  Entries waiting_;  ///< in the order in which they began to wait
  Entries others_;   ///< in the other states but `closed`
  Entries closed_;   ///< until the end of the turn, in which an event may still refer to them
  std::set<std::pair<Time, Entry*>> timers_;
  bool isListening_ = false;
  bool isSignalled_ = false;
  bool isEnding_ = false;
  Time listenAgainAt_ = Time::max();
  std::mutex mutex_;
  Entry* done_ = nullptr;  ///< the first of those whose requests are served; guarded by `mutex_`
};

}  // namespace collector
