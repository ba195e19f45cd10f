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

class Database;

/// How far a watcher has been told: the last request and the last record. Written "12-40".
struct Cursor {
  std::int64_t request = 0;
  std::int64_t record = 0;

  std::string text() const { return std::to_string(request) + "-" + std::to_string(record); }
};

/// Reads a cursor: "12-40", or "12", which stands for request 12 with all its records. Nothing for anything else.
std::optional<Cursor> parseCursor(std::string_view text, Database& database);

/// Where a watcher begins with this cursor: at the beginning, when the database has never come so far, and so is
/// another one than that of which the watcher was told.
Cursor startOf(Cursor cursor, Database& database);

/// The next events of one watcher, as server-sent events: requests in order, each followed by its records. Empty when
/// there are none. Moves the cursor.
std::string nextEvents(Database& database, Cursor& cursor);

/// Tells threads that wait that something has arrived, or that the end has come.
///
/// Threading: any thread.
class Events {
 public:
  explicit Events(std::size_t mostWatchers) : mostWatchers_(mostWatchers) {}

  /// A place among the watchers, for as long as the object is kept; null when all are taken.
  std::shared_ptr<void> join();

  /// How often something has arrived.
  std::uint64_t count() const;

  void tell();

  /// Waits until something has arrived since `count`, the time is up, or the end has come.
  void waitBeyond(std::uint64_t count, std::chrono::milliseconds longest);

  /// Waits that long; shorter when the end comes.
  void pause(std::chrono::milliseconds duration);

  /// The end has come: nobody waits any more.
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
