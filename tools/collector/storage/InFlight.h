#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <set>

namespace collector {

/// Limits the total length of the bodies that are in memory. Half of it is divided into shares, one for each body that
/// may be there at a time, so that a body within its share waits for no other. Longer ones wait for the other half.
///
/// Threading: any thread.
class InFlight {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// At most `mostBodies`, which is at least 1, are in memory at a time.
  InFlight(std::size_t mostBytes, std::size_t mostBodies)
      : share_(mostBytes / 2 / mostBodies), mostLong_(mostBytes - share_ * mostBodies) {}

  /// The room of one body, which is free again when this object is destroyed. Must not outlive the InFlight.
  class Room {
   public:
    Room() = default;
    Room(Room&& other) noexcept;
    Room& operator=(Room&& other) noexcept;
    ~Room();

    explicit operator bool() const { return owner_ != nullptr; }

    std::size_t bytes() const { return bytes_; }

    /// Gives back all but `bytes`.
    void shrinkTo(std::size_t bytes);

   private:
    friend class InFlight;
    Room(InFlight& owner, std::size_t bytes) : owner_(&owner), bytes_(bytes) {}
    InFlight* owner_ = nullptr;
    std::size_t bytes_ = 0;
  };

  /// The length up to which a body waits for no other.
  std::size_t share() const { return share_; }

  /// Waits for room. What exceeds a share is admitted in the order of the calls, so that shorter bodies do not hold up
  /// a long one; what is longer than all room is admitted without other long ones. The result is false when there is no
  /// room before `until`, or at the end.
  Room makeRoom(std::size_t bytes, Time until);

  /// Ends all waits, present and future.
  void end();

  std::size_t bytes() const;

 private:
  std::size_t longPart(std::size_t bytes) const;
  void replace(std::size_t bytes, std::size_t by);

  const std::size_t share_;
  const std::size_t mostLong_;  // bytes of bodies that exceed their share
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t bytes_ = 0;
  std::size_t long_ = 0;  // of bodies that exceed their share
  std::uint64_t lastTicket_ = 0;
  std::set<std::uint64_t> waiting_;  // by ticket
  bool hasEnded_ = false;
};

}  // namespace collector
