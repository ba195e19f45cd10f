#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/ManagerTest.h"
#include "tests/support/ObservedLogs.h"

using sqm::RecordType;
using sqm::SQMApplicationRecord;
using sqm::SQMManager;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

class ManagerLifecycle : public ManagerTest {};

TEST_F(ManagerLifecycle, NewManagerHasNoMediumNoRecordAndNoUpload) {
  EXPECT_EQ(manager->deviceType(), 0);
  EXPECT_EQ(manager->sqmAppLicationRecord(), nullptr);
  EXPECT_EQ(manager->uploadState(), sqm::UploadState::idle);
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_THAT(fakes.http.requests(), IsEmpty());
}

TEST_F(ManagerLifecycle, AnyMediumIsKept) {
  for (const std::int64_t type : {std::int64_t{7}, std::int64_t{-1}, std::int64_t{1} << 40}) {
    manager->setDeviceType(type);
    EXPECT_EQ(manager->deviceType(), type);
  }
}

TEST_F(ManagerLifecycle, MediaHaveNames) {
  EXPECT_EQ(SQMManager::mediaType(1), "WiFi");
  EXPECT_EQ(SQMManager::mediaType(2), "mobile");
  EXPECT_EQ(SQMManager::mediaType(3), "Ethernet");
  for (const std::int32_t other : {-1, 0, 4, 7}) EXPECT_EQ(SQMManager::mediaType(other), "") << other;
}

TEST(ManagerLogs, AreOpenedAtTheirLevel) {
  sqm::testing::FakeHost fakes;
  ObservedLogs logs;
  fakes.host.logFiles = &logs;
  const SQMManager manager(fakes.host);
  EXPECT_THAT(logs.levels, ElementsAre(Pair("SQMManager.log", 2), Pair("SQMUploadlog.log", 2)));
}

TEST_F(ManagerLifecycle, ItsUploadTargetCountsSavesAndUploads) {
  const sqm::UploadTarget target = manager->uploadTarget();
  EXPECT_EQ(target.waiting(), 0U);
  manager->sqmCreateClientRecord(nullptr);
  manager->sqmCreateClientRecord(nullptr);
  manager->sqmCreateApplicationStartRecord(nullptr);
  EXPECT_EQ(target.waiting(), 2U);
  target.save();
  EXPECT_EQ(fakes.propertyLists.writes().size(), 5U);
  target.start();
  ASSERT_EQ(fakes.http.requests().size(), 1U);
  fakes.http.complete(200);
  EXPECT_EQ(target.waiting(), 0U);
}

TEST_F(ManagerLifecycle, SavingWritesTheStoreAndNothingElse) {
  manager->sqmCreateClientRecord(nullptr);
  const std::size_t lines = log().size();
  manager->saveToDisk();
  EXPECT_EQ(fakes.propertyLists.writes().size(), 5U);
  EXPECT_THAT(savedRecords(fakes, RecordType::client), ElementsAre(""));
  EXPECT_EQ(log().size(), lines);
}

TEST_F(ManagerLifecycle, RecordsAreInMemoryAloneUntilTheyAreSaved) {
  manager->sqmCreateClientRecord(nullptr);
  EXPECT_THAT(fakes.propertyLists.writes(), IsEmpty());
}

TEST_F(ManagerLifecycle, DestructionSaves) {
  manager->sqmCreateClientRecord(nullptr);
  manager.reset();
  EXPECT_EQ(fakes.propertyLists.writes().size(), 5U);
  EXPECT_THAT(savedRecords(fakes, RecordType::client), ElementsAre(""));
}

TEST_F(ManagerLifecycle, NewManagerHoldsWhatAnEarlierOneSaved) {
  manager->sqmCreateClientRecord(nullptr);
  restart();
  EXPECT_THAT(stored(RecordType::client), ElementsAre(""));
}

TEST_F(ManagerLifecycle, WithoutAWritableFolderNothingIsLostInMemory) {
  fakes.propertyLists.refuseWriting(storeFile(RecordType::client));
  manager->sqmCreateClientRecord(nullptr);
  manager->saveToDisk();
  manager->uploadSQM();
  ASSERT_EQ(fakes.http.requests().size(), 1U);
  EXPECT_EQ(fakes.http.requests()[0].data, listDocument("clientList", ""));
}

/// Records how many files were read before the transaction was made.
class WatchedHttp : public sqm::HttpTransactionFactory {
 public:
  explicit WatchedHttp(sqm::testing::FakeHost& fakes) : fakes_(fakes) {}

  std::unique_ptr<sqm::HttpTransaction> makeTransaction() override {
    filesRead = fakes_.propertyLists.reads().size();
    return fakes_.http.makeTransaction();
  }
  std::size_t requestsUnderWay() const override { return fakes_.http.requestsUnderWay(); }

  std::size_t filesRead = 0;

 private:
  sqm::testing::FakeHost& fakes_;
};

TEST(ManagerOrder, StoreIsMadeBeforeTheUploadAgent) {
  sqm::testing::FakeHost fakes;
  WatchedHttp http(fakes);
  fakes.host.httpTransactions = &http;
  const SQMManager manager(fakes.host);
  EXPECT_EQ(http.filesRead, 5U);
}

/// Calls `onWrite` before each write.
class ObservedFiles : public sqm::testing::MemoryPropertyLists {
 public:
  bool writeToFile(const sqm::TextArray& array, const std::string& path, bool atomically) override {
    onWrite();
    return MemoryPropertyLists::writeToFile(array, path, atomically);
  }

  std::function<void()> onWrite;
};

TEST(ManagerOrder, LogThenStoreThenAgentThenApplicationRecordAreReleased) {
  sqm::testing::FakeHost fakes;
  std::vector<std::string> events;
  const auto add = [&](const std::string& event) {
    const std::string withTransaction = fakes.http.transactions().empty() ? "" : ", transaction alive";
    if (events.empty() || events.back() != event + withTransaction) events.push_back(event + withTransaction);
  };
  ObservedLogs logs;
  logs.onClose = [&](const std::string& file) { add(file + " closed"); };
  fakes.host.logFiles = &logs;
  ObservedFiles files;
  files.onWrite = [&] { add("lists written"); };
  fakes.host.propertyLists = &files;
  {
    SQMManager manager(fakes.host);
    manager.setSqmAppLicationRecord({new SQMApplicationRecord(fakes.host), [&](const SQMApplicationRecord* record) {
                                       add("application record released");
                                       delete record;
                                     }});
  }
  EXPECT_THAT(events, ElementsAre("SQMManager.log closed, transaction alive", "lists written, transaction alive",
                                  ::testing::StartsWith("SQMUploadlog.log closed"), "application record released"));
}

TEST_F(ManagerLifecycle, ReleasedApplicationRecordMayReadItsSuccessor) {
  std::shared_ptr<SQMApplicationRecord> seen;
  manager->setSqmAppLicationRecord({new SQMApplicationRecord(fakes.host), [&](const SQMApplicationRecord* record) {
                                      seen = manager->sqmAppLicationRecord();
                                      delete record;
                                    }});
  const auto successor = std::make_shared<SQMApplicationRecord>(fakes.host);
  manager->setSqmAppLicationRecord(successor);
  EXPECT_EQ(seen, successor);
}

TEST_F(ManagerLifecycle, ApplicationRecordMayBeSetAndReadFromTwoThreads) {
  constexpr int kRounds = 2000;
  const auto first = std::make_shared<SQMApplicationRecord>(fakes.host);
  const auto second = std::make_shared<SQMApplicationRecord>(fakes.host);
  manager->setSqmAppLicationRecord(first);
  std::atomic<int> others = 0;
  const auto swap = [&] {
    for (int round = 0; round < kRounds; ++round) {
      manager->setSqmAppLicationRecord(round % 2 == 0 ? second : first);
      const auto seen = manager->sqmAppLicationRecord();
      if (seen != first && seen != second) ++others;
    }
  };
  std::thread other(swap);
  swap();
  other.join();
  EXPECT_EQ(others, 0);
  manager->setSqmAppLicationRecord(nullptr);
  EXPECT_EQ(first.use_count(), 1);
  EXPECT_EQ(second.use_count(), 1);
}

}  // namespace
