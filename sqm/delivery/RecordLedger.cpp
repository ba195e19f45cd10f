#include "sqm/delivery/RecordLedger.h"

#include <algorithm>
#include <utility>

#include "sqm/common/Clock.h"

namespace sqm::delivery {

RecordLedger::RecordLedger(std::unique_ptr<AppendFile> file, const Host& host, RecordJournal* inner, Options options)
    : file_(std::move(file)), host_(host), inner_(inner), options_(std::move(options)) {
  read();  // now, because the queue may be used before the lists are loaded, or without them
}

RecordLedger::~RecordLedger() { write(/*withLists=*/inner_ != nullptr); }

DeliveryStatistics RecordLedger::statistics() const {
  const std::lock_guard lock(mutex_);
  return kept_.counts;
}

void RecordLedger::refusedBodyDropped(DropReason reason) {
  {
    const std::lock_guard lock(mutex_);
    ++kept_.counts.refusedBodies[static_cast<std::size_t>(reason)];
    hasNews_ = true;
  }
  write(/*withLists=*/inner_ != nullptr);
}

std::int64_t RecordLedger::now() const { return host_.clock->time(); }

// The lists.

void RecordLedger::listsLoaded(std::span<TextArray> lists) {
  if (inner_ != nullptr) inner_->listsLoaded(lists);
  {
    const std::lock_guard lock(mutex_);
    for (const RecordType type : kRecordTypes) fit(kindOf(type), lists[indexOf(type)].size());
  }
  write(/*withLists=*/true);  // so that the next kill does not make the ages begin anew
}

Surplus RecordLedger::surplusOf(Lists lists, RecordType type) {
  const std::lock_guard lock(mutex_);
  return delivery::surplusOf(options_.limits.lists[indexOf(type)], lists[indexOf(type)], kindOf(type).times, now());
}

void RecordLedger::recordStored(Lists lists, RecordType type) {
  if (inner_ != nullptr) inner_->recordStored(lists, type);
  {
    const std::lock_guard lock(mutex_);
    add(kindOf(type));
  }
  if (lacksRemovals_ && now() != lastWrite_) write(/*withLists=*/true);
}

void RecordLedger::recordsRemoved(Lists lists, RecordType type, std::size_t count, Removal why) {
  if (inner_ != nullptr) inner_->recordsRemoved(lists, type, count, why);
  const std::optional<DropReason> reason = dropReasonOf(why);
  {
    const std::lock_guard lock(mutex_);
    remove(kindOf(type), count, reason);
  }
  if (reason) dropped({type, count, *reason});
  if (inner_ == nullptr) return;
  // After a removal by age, the times in the file must not be taken for those of the records that follow.
  lacksRemovals_ = why != Removal::posted && why != Removal::age && now() == lastWrite_;
  if (!lacksRemovals_) write(/*withLists=*/true);
}

void RecordLedger::saveBegins(Lists lists) {
  if (inner_ != nullptr) inner_->saveBegins(lists);
}

void RecordLedger::saveEnds(Lists lists, const ByType<bool>& written) {
  if (inner_ != nullptr) inner_->saveEnds(lists, written);
  if (inner_ != nullptr || std::find(written.begin(), written.end(), false) == written.end()) write(/*withLists=*/true);
}

/// Nothing for records that a server has answered.
std::optional<DropReason> RecordLedger::dropReasonOf(Removal why) const {
  switch (why) {
    case Removal::posted:
      if (options_.outcome && options_.outcome().value_or(Outcome::retry) != Outcome::retry) return std::nullopt;
      return DropReason::deleted;
    case Removal::unsent:
      return DropReason::unsent;
    case Removal::records:
      return DropReason::records;
    case Removal::bytes:
      return DropReason::bytes;
    case Removal::age:
      return DropReason::age;
    case Removal::consent:
      break;
  }
  return DropReason::consent;
}

// The queue.

void RecordLedger::queueLoaded(UploadRequests& queue) {
  {
    const std::lock_guard lock(mutex_);
    fit(this->queue(), queue.size());
  }
  boundQueue(queue, 0);
}

void RecordLedger::requestQueued(UploadRequests& queue, bool isSending) {
  {
    const std::lock_guard lock(mutex_);
    fit(this->queue(), queue.size() - 1);  // the application may have replaced the queue
    add(this->queue());
  }
  boundQueue(queue, isSending ? 1 : 0);
}

void RecordLedger::requestPosted(const UploadRequests& queue) {
  {
    const std::lock_guard lock(mutex_);
    fit(this->queue(), queue.size() + 1);
    remove(this->queue(), 1, dropReasonOf(Removal::posted));
  }
  write(/*withLists=*/inner_ != nullptr);
}

void RecordLedger::rulesChanged(UploadRequests& queue) {
  const std::lock_guard lock(mutex_);
  if (queue.size() < kept_.counts.queue.waiting) {
    remove(this->queue(), kept_.counts.queue.waiting - queue.size(), DropReason::consent);
  }
}

/// The first `kept` requests stay.
void RecordLedger::boundQueue(UploadRequests& queue, std::size_t kept) {
  for (;;) {
    Drop drop;
    {
      const std::lock_guard lock(mutex_);
      const Surplus surplus = delivery::surplusOf(options_.limits.queue, queue, kept_.queueTimes, now());
      const std::size_t count = std::min(surplus.count, queue.size() - std::min(kept, queue.size()));
      if (count == 0) return;
      const auto first = queue.begin() + static_cast<std::ptrdiff_t>(kept);
      queue.erase(first, first + static_cast<std::ptrdiff_t>(count));
      drop = {std::nullopt, count, dropReasonOf(surplus.why).value_or(DropReason::deleted)};
      remove(this->queue(), count, drop.reason);
    }
    dropped(drop);
  }
}

// The counts.

void RecordLedger::fit(Kind kind, std::uint64_t count) {
  hasNews_ = hasNews_ || count != kind.counts.waiting;
  kind.counts.fitWaiting(count);
  kind.times.fit(kind.limit.age ? count : 0, now());
}

void RecordLedger::add(Kind kind) {
  ++kind.counts.accepted;
  ++kind.counts.waiting;
  if (kind.limit.age) kind.times.append(now());
  hasNews_ = true;
}

void RecordLedger::remove(Kind kind, std::uint64_t count, std::optional<DropReason> reason) {
  const bool isRefused = !reason && options_.outcome() == Outcome::refused;
  (reason      ? kind.counts.dropped[static_cast<std::size_t>(*reason)]
   : isRefused ? kind.counts.refused
               : kind.counts.delivered) += count;
  kind.counts.waiting -= count;
  kind.times.removeFirst(count);
  hasNews_ = true;
}

void RecordLedger::dropped(const Drop& drop) const {
  if (options_.onDrop) options_.onDrop(drop);
}

// The file.

void RecordLedger::read() {
  if (!file_) return;
  std::string text;
  const std::error_code problem = file_->read(text);
  if (problem == std::errc::no_such_file_or_directory) return;
  auto kept = problem ? std::nullopt : statisticsOf(text);
  if (kept) {
    kept_ = saved_ = *std::move(kept);
    return;
  }
  report(problem ? "cannot be read" : "is damaged, and is moved aside", problem);
  static_cast<void>(file_->moveAside());
}

/// Without the lists, they are in the file as they were.
void RecordLedger::write(bool withLists) {
  {
    const std::lock_guard lock(mutex_);
    if (!file_ || !std::exchange(hasNews_, !withLists)) return;
    saved_.counts.queue = kept_.counts.queue;
    saved_.counts.refusedBodies = kept_.counts.refusedBodies;
    saved_.queueTimes = kept_.queueTimes;
    if (withLists) saved_ = kept_;
  }
  lastWrite_ = now();
  if (withLists) lacksRemovals_ = false;
  bool isReplaced = false;
  if (const auto problem = file_->replace(savedStatisticsOf(saved_), options_.synced, isReplaced)) {
    report("cannot be written", problem);
    const std::lock_guard lock(mutex_);
    hasNews_ = true;
  } else {
    isFailing_ = false;
  }
}

void RecordLedger::report(const std::string& what, const std::error_code& reason) {
  if (reason && std::exchange(isFailing_, true)) return;
  if (options_.onProblem) options_.onProblem(reason ? what + ": " + reason.message() : what);
}

}  // namespace sqm::delivery
