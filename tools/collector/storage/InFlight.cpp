#include "tools/collector/storage/InFlight.h"

#include <algorithm>
#include <utility>

namespace collector {

InFlight::Room::Room(Room&& other) noexcept
    : owner_(std::exchange(other.owner_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}

InFlight::Room& InFlight::Room::operator=(Room&& other) noexcept {
  std::swap(owner_, other.owner_);
  std::swap(bytes_, other.bytes_);
  return *this;
}

InFlight::Room::~Room() { shrinkTo(0); }

void InFlight::Room::shrinkTo(std::size_t bytes) {
  if (bytes >= bytes_) return;
  owner_->replace(bytes_, bytes);
  bytes_ = bytes;
}

InFlight::Room InFlight::makeRoom(std::size_t bytes, Time until) {
  const std::size_t needed = longPart(bytes);
  bool isInTime = true;
  std::unique_lock lock(mutex_);
  if (needed > 0) {
    const std::uint64_t ticket = *waiting_.insert(++lastTicket_).first;
    const auto isAdmitted = [&] { return hasEnded_ || (*waiting_.begin() == ticket && needed <= mostLong_ - long_); };
    isInTime = changed_.wait_until(lock, until, isAdmitted);
    waiting_.erase(ticket);
    changed_.notify_all();  // the next may be admitted
  }
  if (!isInTime || hasEnded_) return {};
  long_ += needed;
  bytes_ += bytes;
  return {*this, bytes};
}

void InFlight::end() {
  const std::lock_guard lock(mutex_);
  hasEnded_ = true;
  changed_.notify_all();
}

std::size_t InFlight::bytes() const {
  const std::lock_guard lock(mutex_);
  return bytes_;
}

/// What a body of this length takes of the room for long ones.
std::size_t InFlight::longPart(std::size_t bytes) const { return bytes <= share_ ? 0 : std::min(bytes, mostLong_); }

void InFlight::replace(std::size_t bytes, std::size_t by) {
  const std::lock_guard lock(mutex_);
  bytes_ -= bytes - by;
  long_ -= longPart(bytes) - longPart(by);
  changed_.notify_all();
}

}  // namespace collector
