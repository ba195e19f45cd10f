// The group commit of the collection server, before a storage that does what the test says.

#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/Patience.h"
#include "tools/collector/storage/Keeper.h"

namespace {

using namespace collector;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

/// Remembers the paths of each transaction.
class FakeStorage : public Storage {
 public:
  void add(std::span<Arrival* const> arrivals, const std::optional<Progress>&) override {
    std::unique_lock lock(mutex_);
    isAdding_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return isOpen_; });
    std::vector<std::string> paths;
    for (const Arrival* arrival : arrivals) {
      paths.push_back(arrival->request.path);
      if (impossible.contains(paths.back())) throw std::runtime_error("it cannot be stored");
    }
    groups.push_back(paths);
  }
  std::vector<RequestRow> requests(std::int64_t, std::int64_t) override { return {}; }
  std::vector<RecordRow> records(std::int64_t, std::int64_t) override { return {}; }
  std::optional<RequestRow> request(std::int64_t) override { return {}; }
  std::optional<RecordRow> record(std::int64_t) override { return {}; }
  std::string headers(std::int64_t) override { return {}; }
  std::string body(std::int64_t) override { return {}; }
  std::int64_t lastRecordUpTo(std::int64_t) override { return 0; }
  std::vector<FactRow> facts(const FactFilter&, const FactPosition&, std::int64_t) override { return {}; }
  std::int64_t countFacts(ConnectionFact::Time, ConnectionFact::Time, std::int64_t, std::int64_t) override { return 0; }
  ArrivalCounts arrivals(ConnectionFact::Time, ConnectionFact::Time) override { return {}; }
  LastNumbers last() override { return {}; }
  std::int64_t progressOf(const std::string&) override { return 0; }
  bool tidy() override { return false; }

  /// While it is closed, transactions do not end.
  void setOpen(bool isOpen) {
    const std::lock_guard lock(mutex_);
    isOpen_ = isOpen;
    changed_.notify_all();
  }

  bool isAdding() {
    const std::lock_guard lock(mutex_);
    return isAdding_;
  }

  void waitUntilAdding() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return isAdding_; });
  }

  std::set<std::string> impossible;
  std::vector<std::vector<std::string>> groups;

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isOpen_ = true;
  bool isAdding_ = false;
};

class KeeperTest : public testing::Test {
 protected:
  static Clock::time_point in(milliseconds time) { return Clock::now() + time; }

  std::future<bool> keep(const std::string& path, Clock::time_point until = in(kPatience)) {
    return keepBody(keeper, path, "", 10, until);
  }

  static std::future<bool> keepBody(Keeper& keeper, const std::string& path, const std::string& body, std::size_t bytes,
                                    Clock::time_point until = in(kPatience)) {
    return std::async(std::launch::async, [&keeper, path, body, bytes, until] {
      auto room = keeper.makeRoom(bytes, until);
      return room &&
             keeper.keep(std::make_shared<Arrival>(RequestRow{.path = path}, "[]", body), std::move(room), until);
    });
  }

  static void waitForWaiting(Keeper& keeper, std::size_t count) {
    while (keeper.counters().waiting != count) std::this_thread::yield();
  }
  void waitForWaiting(std::size_t count) { waitForWaiting(keeper, count); }

  /// A body of the shortest records.
  static std::string bodyOf(std::size_t records) {
    return "<connectionList>" + repeated("<r/>", records) + "</connectionList>";
  }

  const FieldMapping fields;
  FakeStorage storage;
  Keeper keeper{storage, fields, {.patience = kPatience, .bytesInFlight = 200}};
};

TEST_F(KeeperTest, StoresInOneTransactionWhatArrivesDuringAnother) {
  storage.setOpen(false);
  auto first = keep("/first");
  storage.waitUntilAdding();
  std::vector<std::future<bool>> others;
  others.reserve(5);
  for (int i = 0; i < 5; ++i) others.push_back(keep("/other"));
  waitForWaiting(6);
  EXPECT_EQ(keeper.counters().bytesInFlight, 60U);
  storage.setOpen(true);
  EXPECT_TRUE(first.get());
  for (auto& other : others) EXPECT_TRUE(other.get());
  EXPECT_EQ(storage.groups, (std::vector<std::vector<std::string>>{{"/first"}, std::vector<std::string>(5, "/other")}));
  const StorageCounters counters = keeper.counters();
  EXPECT_EQ(counters.posts, 6U);
  EXPECT_EQ(counters.commits, 2U);
  EXPECT_EQ(counters.waiting, 0U);
  EXPECT_EQ(counters.bytesInFlight, 0U);
  EXPECT_EQ(counters.oldestWait, milliseconds(0));
}

TEST_F(KeeperTest, TriesAgainWhatCannotBeStoredAndStoresTheOthers) {
  storage.setOpen(false);
  storage.impossible = {"/3"};
  auto first = keep("/first");
  storage.waitUntilAdding();
  std::vector<std::future<bool>> others;
  others.reserve(8);
  for (int i = 0; i < 8; ++i)
    others.push_back(keep("/" + std::to_string(i), i == 3 ? in(milliseconds(300)) : in(kPatience)));
  waitForWaiting(9);
  storage.setOpen(true);
  EXPECT_TRUE(first.get());
  for (std::size_t i = 0; i < others.size(); ++i) EXPECT_EQ(others[i].get(), i != 3) << i;
  const StorageCounters counters = keeper.counters();
  EXPECT_EQ(counters.posts, 8U);
  EXPECT_EQ(counters.givenUp, 1U);
  EXPECT_GE(counters.failures, 2U);
}

TEST_F(KeeperTest, AnswersInTimeAlsoWhenTheStorageDoesNot) {
  storage.setOpen(false);
  while (!storage.isAdding()) EXPECT_FALSE(keep("/stuck", in(milliseconds(50))).get());  // the writer may come too late
  EXPECT_GE(keeper.counters().bytesInFlight, 10U) << "the writer still has it";
  storage.setOpen(true);
}

TEST_F(KeeperTest, AdmitsNoMoreBytesThanItMay) {
  auto first = keeper.makeRoom(60, in(kPatience));
  EXPECT_TRUE(first);
  EXPECT_FALSE(keeper.makeRoom(60, in(milliseconds(10))));
  EXPECT_TRUE(keeper.makeRoom(40, in(kPatience)));
  first.shrinkTo(40);
  EXPECT_TRUE(keeper.makeRoom(60, in(kPatience)));
  EXPECT_EQ(keeper.counters().bytesInFlight, 40U);
}

TEST_F(KeeperTest, AdmitsABodyThatIsLongerThanTheLimitAloneAndInItsTurn) {
  auto first = std::make_unique<InFlight::Room>(keeper.makeRoom(10, in(kPatience)));
  auto large = std::async(std::launch::async, [this] { return keeper.makeRoom(1000, in(kPatience)); });
  while (keeper.makeRoom(10, in(milliseconds(10)))) {  // until the large one is waiting
  }
  first.reset();
  EXPECT_TRUE(large.get());
  EXPECT_TRUE(keeper.makeRoom(100, in(kPatience)));
}

TEST_F(KeeperTest, LetsABodyWithinItsShareWaitForNoOther) {
  Keeper shared{storage, fields, {.patience = kPatience, .bytesInFlight = 200, .bodies = 5}};
  ASSERT_EQ(shared.share(), 10U);
  auto announced = shared.makeRoom(1000, in(kPatience));
  EXPECT_TRUE(announced);
  EXPECT_FALSE(shared.makeRoom(11, in(milliseconds(10))));
  const auto first = shared.makeRoom(10, Clock::now());
  const auto second = shared.makeRoom(10, Clock::now());
  EXPECT_TRUE(first && second);
  announced.shrinkTo(10);
  EXPECT_TRUE(shared.makeRoom(50, in(kPatience))) << "it is back within its share";
  EXPECT_EQ(shared.counters().bytesInFlight, 30U);
}

TEST_F(KeeperTest, HoldsTheRecordsOfOneBodyAtATimeThatNeedMoreThanAllRoom) {
  Keeper small{storage, fields, {.patience = kPatience, .bytesInFlight = 400'000, .bodies = 10}};
  constexpr std::size_t kRecords = 1000;
  storage.setOpen(false);
  std::vector<std::future<bool>> all;
  all.reserve(9);
  for (int i = 0; i < 8; ++i) all.push_back(keepBody(small, "/large", bodyOf(kRecords), 10'000));
  storage.waitUntilAdding();
  all.push_back(keepBody(small, "/small", bodyOf(1), 10'000));
  waitForWaiting(small, 2);
  const std::size_t held = small.counters().bytesInFlight;
  EXPECT_GE(held, kRecords * sizeof(ArrivedRecord));
  EXPECT_LE(held, kRecords * (sizeof(ArrivedRecord) + 100) + 400'000) << "of one body";
  storage.setOpen(true);
  for (auto& kept : all) EXPECT_TRUE(kept.get());
  EXPECT_EQ(small.counters().bytesInFlight, 0U);
  EXPECT_EQ(small.counters().records, 8 * kRecords + 1);
}

TEST_F(KeeperTest, StoresSoManyRecordsAtOnceThatItTakesNoLongTime) {
  Keeper large{storage, fields, {.patience = kPatience}};
  storage.setOpen(false);
  auto first = keepBody(large, "/first", "", 0);
  storage.waitUntilAdding();
  std::vector<std::future<bool>> others;
  others.reserve(5);
  for (int i = 0; i < 5; ++i) others.push_back(keepBody(large, "/other", bodyOf(9000), 40'000));
  waitForWaiting(large, 6);
  storage.setOpen(true);
  EXPECT_TRUE(first.get());
  for (auto& other : others) EXPECT_TRUE(other.get());
  std::vector<std::size_t> sizes;
  for (const auto& group : storage.groups) sizes.push_back(group.size());
  EXPECT_EQ(sizes, (std::vector<std::size_t>{1, 2, 2, 1}));
}

TEST_F(KeeperTest, EndsWithEverythingStoredOrGivenUp) {
  storage.impossible = {"/never"};
  auto never = keep("/never");
  storage.waitUntilAdding();
  keeper.end();
  EXPECT_FALSE(never.get());
  EXPECT_FALSE(keep("/late").get());
}

}  // namespace
