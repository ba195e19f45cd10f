#include "tools/collector/storage/Keeper.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <utility>

namespace collector {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// The largest group. What exceeds kMostBytes or kMostRecordsAtOnce is stored alone. So many records take a second or
// two.
constexpr std::size_t kMostArrivals = 1024;
constexpr std::size_t kMostBytes = std::size_t{16} << 20;
constexpr std::size_t kMostRecordsAtOnce = 20'000;

// Between two attempts to store a single arrival.
constexpr milliseconds kShortestPause{50};
constexpr milliseconds kLongestPause{1000};

constexpr milliseconds kGrace{500};  // for what waits when the keeper ends: less than the server's

constexpr std::chrono::seconds kBetweenMessages{10};
constexpr milliseconds kBetweenTidying{60'000};

}  // namespace

Keeper::Keeper(Storage& storage, const FieldMapping& fields, const Limits& limits)
    : storage_(storage),
      fields_(fields),
      limits_(limits),
      bodies_(limits.bytesInFlight / 2, limits.bodies),
      records_(limits.bytesInFlight / 2, limits.bodies),
      splitting_(std::max(1U, std::thread::hardware_concurrency())),
      writer_([this] { write(); }) {}

Keeper::~Keeper() {
  end();
  writer_.join();
}

bool Keeper::keep(const std::shared_ptr<Arrival>& arrival, InFlight::Room room, Time until) {
  const auto waiting = std::make_shared<Waiting>(arrival, std::move(room), split(*arrival, until), Clock::now(), until);
  std::unique_lock lock(mutex_);
  if (waiting->records && !isEnding_) {
    waiting_.push_back(waiting);
    ++arrivals_;
    arrived_.notify_one();
    while (waiting->state == State::waiting && Clock::now() < waiting->until) {
      waiting->decided.wait_until(lock, waiting->until);
    }
  }
  if (waiting->state == State::kept) return true;
  waiting->state = State::givenUp;
  ++counters_.givenUp;
  return false;
}

/// Splits an arrival. Returns the room of its records, or none when there is none in time. What takes more than a share
/// is split twice: to measure it, and when there is room for it.
InFlight::Room Keeper::split(Arrival& arrival, Time until) {
  InFlight::Room room = records_.makeRoom(records_.share(), until);
  if (!room) return room;
  const std::size_t bytes = splitWithin(arrival, room.bytes());
  if (bytes > room.bytes()) {
    room = records_.makeRoom(bytes, until);
    if (room) splitWithin(arrival, bytes);
  }
  room.shrinkTo(bytes);
  return room;
}

/// While a record is parsed it takes several times its length, so that no more bodies are split at a time than there
/// are processors.
std::size_t Keeper::splitWithin(Arrival& arrival, std::size_t mostBytes) {
  struct Turn {
    explicit Turn(std::counting_semaphore<>& all) : turns(all) { turns.acquire(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() { turns.release(); }
    std::counting_semaphore<>& turns;
  };
  const Turn turn(splitting_);
  return arrival.split(fields_, mostBytes);
}

void Keeper::end() {
  bodies_.end();
  records_.end();
  const std::lock_guard lock(mutex_);
  isEnding_ = true;
  arrived_.notify_one();
  forEachWaiting([](Waiting& waiting) {
    waiting.until = std::min(waiting.until, Clock::now() + kGrace);
    waiting.decided.notify_one();
  });
}

StorageCounters Keeper::counters() const {
  const std::lock_guard lock(mutex_);
  StorageCounters counters = counters_;
  counters.bytesInFlight = bodies_.bytes() + records_.bytes();
  forEachWaiting([&counters](const Waiting& waiting) {
    ++counters.waiting;
    const auto wait = std::chrono::floor<milliseconds>(Clock::now() - waiting.since);
    counters.oldestWait = std::max(counters.oldestWait, wait);
  });
  return counters;
}

template <typename Visit>
void Keeper::forEachWaiting(const Visit& visit) const {
  const auto visitAll = [&visit](const auto& all) {
    for (const auto& waiting : all) {
      if (waiting->state == State::waiting) visit(*waiting);
    }
  };
  visitAll(group_);
  visitAll(waiting_);
}

/// The writer's thread. After a failure it stores half as many arrivals at once, down to a single one, which then waits
/// behind all others: an arrival that can never be stored does not stop the others.
void Keeper::write() {
  std::size_t most = kMostArrivals;
  milliseconds pause = kShortestPause;
  std::unique_lock lock(mutex_);
  for (Time nextTidying = Clock::now();;) {
    arrived_.wait_until(lock, nextTidying, [this] { return isEnding_ || !waiting_.empty(); });
    if (Clock::now() >= nextTidying && !isEnding_) {
      lock.unlock();
      nextTidying = Clock::now() + (tidy() ? milliseconds(0) : kBetweenTidying);
      lock.lock();
    }
    takeGroup(most);
    if (group_.empty()) {
      if (isEnding_) return;
      continue;
    }
    lock.unlock();
    const std::string problem = storeGroup();
    lock.lock();
    if (problem.empty()) {
      noteKept();
      most = std::min(most * 2, kMostArrivals);
      pause = kShortestPause;
      continue;
    }
    noteFailure(problem);
    if (isEnding_) return;
    most = std::max<std::size_t>(group_.size() / 2, 1);
    const bool isSingle = group_.size() == 1;
    if (isSingle) {
      arrived_.wait_for(lock, pause, [this, known = arrivals_] { return isEnding_ || arrivals_ != known; });
      pause = std::min(pause * 2, kLongestPause);
    }
    waiting_.insert(isSingle ? waiting_.end() : waiting_.begin(), group_.begin(), group_.end());
    group_.clear();
  }
}

/// Moves what waits longest to the group, and drops what was given up.
void Keeper::takeGroup(std::size_t most) {
  std::size_t bytes = 0;
  std::size_t records = 0;
  for (; !waiting_.empty() && group_.size() < most; waiting_.pop_front()) {
    const Waiting& next = *waiting_.front();
    if (next.state != State::waiting) continue;
    bytes += next.bytes();
    records += next.arrival->records.size();
    if (!group_.empty() && (bytes > kMostBytes || records > kMostRecordsAtOnce)) return;
    group_.push_back(std::move(waiting_.front()));
  }
}

/// Returns the reason when the group is not stored.
std::string Keeper::storeGroup() {
  try {
    std::vector<Arrival*> arrivals;
    for (const auto& waiting : group_) arrivals.push_back(waiting->arrival.get());
    storage_.add(arrivals);
    return {};
  } catch (const std::exception& error) {
    return error.what();
  }
}

/// Returns true when there is more to do.
bool Keeper::tidy() {
  try {
    return storage_.tidy();
  } catch (const std::exception&) {
    return false;  // the storage fails: the next arrival says why
  }
}

void Keeper::noteKept() {
  ++counters_.commits;
  for (const auto& waiting : group_) {
    ++counters_.posts;
    counters_.records += waiting->arrival->records.size();
    counters_.duplicates += static_cast<std::uint64_t>(waiting->arrival->request.duplicates);
    if (waiting->state != State::waiting) continue;
    waiting->state = State::kept;
    waiting->decided.notify_one();
  }
  group_.clear();
  if (lastMessage_ == Time{} || !waiting_.empty()) return;
  lastMessage_ = {};
  std::fprintf(stderr, "sqm-collector: all that arrived is stored again\n");
}

void Keeper::noteFailure(const std::string& problem) {
  ++counters_.failures;
  const Time now = Clock::now();
  if (lastMessage_ != Time{} && now - lastMessage_ < kBetweenMessages) return;
  lastMessage_ = now;
  std::fprintf(stderr, "sqm-collector: %zu bodies wait that cannot be stored for now: %s\n",
               group_.size() + waiting_.size(), problem.c_str());
}

}  // namespace collector
