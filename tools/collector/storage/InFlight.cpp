#include "tools/collector/storage/InFlight.h"

#include <algorithm>
#include <utility>

namespace collector {

InFlight::Room::Room(Room&& other) noexcept
    : owner_(std::exchange(other.owner_, nullptr)), bytes_(std::exchange(other.bytes_, 0)) {}

InFlight::Room::~Room() { shrinkTo(0); }

void InFlight::Room::shrinkTo(std::size_t bytes) {
  if (bytes >= bytes_) return;
  owner_->giveBack(bytes_ - bytes);
  bytes_ = bytes;
}

InFlight::Room InFlight::makeRoom(std::size_t bytes, Time until) {
  const std::size_t taken = std::min(bytes, mostBytes_);
  std::unique_lock lock(mutex_);
  const std::uint64_t ticket = *waiting_.insert(++lastTicket_).first;
  const auto isAdmitted = [&] { return hasEnded_ || (*waiting_.begin() == ticket && taken <= mostBytes_ - bytes_); };
  const bool isInTime = changed_.wait_until(lock, until, isAdmitted);
  waiting_.erase(ticket);
  changed_.notify_all();  // the next may be admitted
  if (!isInTime || hasEnded_) return {};
  bytes_ += taken;
  return {*this, taken};
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

void InFlight::giveBack(std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  bytes_ -= bytes;
  changed_.notify_all();
}

}  // namespace collector
