#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <semaphore>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tools/collector/storage/InFlight.h"
#include "tools/collector/storage/Storage.h"

namespace collector {

/// What happened to the bodies since the start, and what waits now.
struct StorageCounters {
  std::uint64_t posts = 0;       ///< that were kept
  std::uint64_t records = 0;     ///< of these posts
  std::uint64_t duplicates = 0;  ///< those of the records that had been stored before
  std::uint64_t commits = 0;
  std::uint64_t failures = 0;               ///< transactions that were not committed
  std::uint64_t givenUp = 0;                ///< bodies that were not kept in time
  std::size_t waiting = 0;                  ///< bodies that wait for their commit
  std::size_t bytesInFlight = 0;            ///< of bodies that are read or wait, and of their records
  std::chrono::milliseconds oldestWait{0};  ///< how long the first of them has waited
};

/// Keeps what arrives: one thread stores all arrivals that wait in one transaction. What cannot be stored is tried
/// again until the client would give up.
///
/// Threading: any thread.
class Keeper {
 public:
  using Time = InFlight::Time;

  struct Limits {
    std::chrono::seconds patience{50};       ///< of a client: the longest time to its answer
    std::size_t bytesInFlight = 256U << 20;  ///< in memory: half of it for bodies, half for their records
    std::size_t bodies = 256;                ///< that are in memory at a time
  };

  /// The storage and the mapping must outlive the keeper.
  Keeper(Storage& storage, const FieldMapping& fields, const Limits& limits);
  Keeper(const Keeper&) = delete;
  Keeper& operator=(const Keeper&) = delete;
  ~Keeper();

  /// When a client that begins to wait now gives up.
  Time deadline() const { return std::chrono::steady_clock::now() + limits_.patience; }

  /// The length up to which a body waits for no room.
  std::size_t share() const { return bodies_.share(); }

  /// Waits for room for a body. False when there is none in time.
  InFlight::Room makeRoom(std::size_t bytes, Time until) { return bodies_.makeRoom(bytes, until); }

  /// Splits an arrival and stores it. Returns true when it is stored and synced. Returns false when it could not be
  /// stored before `until`, or before the end; it may then still be stored later.
  bool keep(const std::shared_ptr<Arrival>& arrival, InFlight::Room room, Time until);

  /// Tries once more to store what waits, and gives up what is not stored in half a second, or comes later. Returns at
  /// once.
  void end();

  StorageCounters counters() const;

 private:
  enum class State : std::uint8_t { waiting, kept, givenUp };

  struct Waiting {
    Waiting(std::shared_ptr<Arrival> what, InFlight::Room forBody, InFlight::Room forRecords, Time now, Time last)
        : arrival(std::move(what)), body(std::move(forBody)), records(std::move(forRecords)), since(now), until(last) {}

    std::size_t bytes() const { return body.bytes() + records.bytes(); }

    std::shared_ptr<Arrival> arrival;
    InFlight::Room body;
    InFlight::Room records;
    Time since;
    Time until;
    State state = State::waiting;
    std::condition_variable decided;
  };
  using Group = std::vector<std::shared_ptr<Waiting>>;

  InFlight::Room split(Arrival& arrival, Time until);
  std::size_t splitWithin(Arrival& arrival, std::size_t mostBytes);
  void write();
  void takeGroup(std::size_t most);
  std::string storeGroup();
  bool tidy();
  void noteKept();
  void noteFailure(const std::string& problem);
  template <typename Visit>
  void forEachWaiting(const Visit& visit) const;

  Storage& storage_;
  const FieldMapping& fields_;
  const Limits limits_;
  InFlight bodies_;
  InFlight records_;  // who waits for its room may hold room for a body, and not the other way round
  std::counting_semaphore<> splitting_;
  mutable std::mutex mutex_;
  std::condition_variable arrived_;
  std::deque<std::shared_ptr<Waiting>> waiting_;
  Group group_;                 // what the writer stores
  std::uint64_t arrivals_ = 0;  // ever
  StorageCounters counters_;
  Time lastMessage_;  // about a failure; zero: all is well
  bool isEnding_ = false;
  std::thread writer_;
};

}  // namespace collector
