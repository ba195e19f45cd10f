#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>

namespace collector {

/// Limits the total length of the bodies that are in memory.
///
/// Threading: any thread.
class InFlight {
 public:
  using Time = std::chrono::steady_clock::time_point;

  explicit InFlight(std::size_t mostBytes) : mostBytes_(mostBytes) {}

  /// The room of one body, which is free again when this object is destroyed. Must not outlive the InFlight.
  class Room {
   public:
    Room() = default;
    Room(Room&& other) noexcept;
    Room& operator=(Room&& other) = delete;
    ~Room();

    explicit operator bool() const { return owner_ != nullptr; }

    /// Gives back all but `bytes`.
    void shrinkTo(std::size_t bytes);

   private:
    friend class InFlight;
    Room(InFlight& owner, std::size_t bytes) : owner_(&owner), bytes_(bytes) {}
    InFlight* owner_ = nullptr;
    std::size_t bytes_ = 0;
  };

  /// Waits for room. Bodies are admitted in the order of the calls, so that short ones do not hold up a long one; what
  /// is longer than the limit is admitted alone. The result is false when there is no room before `until`, or at the
  /// end.
  Room makeRoom(std::size_t bytes, Time until);

  /// Ends all waits, present and future.
  void end();

  std::size_t bytes() const;

 private:
  void giveBack(std::size_t bytes);

  const std::size_t mostBytes_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t bytes_ = 0;
  std::uint64_t lastTicket_ = 0;
  std::set<std::uint64_t> waiting_;  // by ticket
  bool hasEnded_ = false;
};

}  // namespace collector
