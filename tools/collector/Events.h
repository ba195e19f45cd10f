#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace collector {

class Storage;

/// The position of a watcher: the last request and the last record that it received. Written "12-40".
struct Cursor {
  std::int64_t request = 0;
  std::int64_t record = 0;

  std::string text() const { return std::to_string(request) + "-" + std::to_string(record); }
};

/// Reads a cursor: "12-40", or "12", which means request 12 with all its records. Returns nothing for any other text.
std::optional<Cursor> parseCursor(std::string_view text, Storage& storage);

/// The position at which a watcher with this cursor starts. It is the beginning when the database has never reached the
/// cursor, because then the cursor comes from another database.
Cursor startOf(Cursor cursor, Storage& storage);

/// The next events of one watcher, as server-sent events: requests in order, each followed by its records. Empty when
/// there are none. Moves the cursor.
std::string nextEvents(Storage& storage, Cursor& cursor);

/// Wakes waiting threads when something has arrived or the server ends.
///
/// Threading: any thread.
class Events {
 public:
  explicit Events(std::size_t mostWatchers) : mostWatchers_(mostWatchers) {}

  /// Takes one of the places for watchers until the object is released. Null when all are taken.
  std::shared_ptr<void> join();

  /// The number of arrivals so far.
  std::uint64_t count() const;

  void notifyArrival();

  /// Waits until the number of arrivals exceeds `count`, the time is up, or the server ends.
  void waitBeyond(std::uint64_t count, std::chrono::milliseconds longest);

  /// Waits for `duration`, or until the server ends.
  void pause(std::chrono::milliseconds duration);

  /// Ends all waits, present and future.
  void end();
  bool hasEnded() const;

 private:
  const std::size_t mostWatchers_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t watchers_ = 0;
  std::uint64_t count_ = 0;
  bool hasEnded_ = false;
};

}  // namespace collector
