#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/delivery/Journal.h"
#include "sqm/delivery/RecordLedger.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/store/SQMRecordStore.h"
#include "sqm/testing/FakeHost.h"
#include "sqm/testing/MemoryAppendFile.h"

namespace sqm::delivery {
namespace {

using namespace std::chrono_literals;
using sqm::testing::FakeHost;
using sqm::testing::MemoryAppendFile;
using sqm::testing::MemoryDisk;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr auto kConnection = RecordType::connection;

/// A process with a store and a ledger, on lists and a disk that outlive it.
class RecordLedgerTest : public ::testing::Test {
 public:
  ~RecordLedgerTest() override { end(); }

 protected:
  void begin() {
    if (hasJournal_)
      journal_.emplace(std::make_unique<MemoryAppendFile>(journalDisk_), host_.clock, Journal::Options{});
    ledger_.emplace(
        isKept_ ? std::make_unique<MemoryAppendFile>(disk_) : nullptr, host_.host, hasJournal_ ? &*journal_ : nullptr,
        RecordLedger::Options{.limits = limits_,
                              .synced = synced_,
                              .outcome = [this] { return outcome_; },
                              .onDrop = [this](const Drop& drop) { drops_.push_back(drop); },
                              .onProblem = [this](const std::string& problem) { problems_.push_back(problem); }});
    host_.host.recordJournal = &*ledger_;
    host_.host.queueRules = &*ledger_;
    store_.emplace(host_.host);
  }

  void end() {
    store_.reset();
    ledger_.reset();
    journal_.reset();
    host_.host.recordJournal = nullptr;
  }

  void restart() {
    end();
    begin();
  }

  /// Ends the process without a save, and begins the next one.
  void crash() {
    const auto lists = host_.propertyLists;
    const auto journal = journalDisk_;
    const auto disk = disk_;
    end();
    host_.propertyLists = lists;
    journalDisk_ = journal;
    disk_ = disk;
    begin();
  }

  void add(const std::string& record) { store_->saveSQMConnRecordToStore(record); }

  void post(std::optional<Outcome> outcome) {
    store_->document(kConnection);
    outcome_ = outcome;
    store_->deleteRecords(kConnection);
    outcome_.reset();
  }

  DeliveryCounts counts() const { return ledger_->statistics().lists[indexOf(kConnection)]; }

  FakeHost host_;
  MemoryDisk disk_;
  MemoryDisk journalDisk_;
  bool hasJournal_ = false;
  bool isKept_ = true;
  bool synced_ = false;
  Limits limits_;
  std::optional<Outcome> outcome_;
  std::vector<Drop> drops_;
  std::vector<std::string> problems_;
  std::optional<Journal> journal_;
  std::optional<RecordLedger> ledger_;
  std::optional<SQMRecordStore> store_;
};

TEST_F(RecordLedgerTest, CountsWhatBecomesOfRecords) {
  begin();
  add("<a/>");
  add("<b/>");
  EXPECT_EQ(counts(), (DeliveryCounts{.accepted = 2, .waiting = 2}));
  post(Outcome::delivered);
  EXPECT_EQ(counts(), (DeliveryCounts{.accepted = 2, .delivered = 2}));
  add("<c/>");
  post(Outcome::refused);
  EXPECT_EQ(counts(), (DeliveryCounts{.accepted = 3, .delivered = 2, .refused = 1}));
}

TEST_F(RecordLedgerTest, RecordsThatTheApplicationDeletesAreDropped) {
  begin();
  add("<a/>");
  store_->deleteSQMConnectionRecordsFromStore();
  EXPECT_EQ(counts().of(DropReason::deleted), 1U);
  ASSERT_EQ(drops_.size(), 1U);
  EXPECT_EQ(drops_[0].type, kConnection);
}

TEST_F(RecordLedgerTest, RecordsThatGoWithADocumentThatLacksThemAreUnsent) {
  begin();
  add("<a/>");
  store_->document(kConnection);
  add("<b/>");
  outcome_ = Outcome::delivered;
  store_->deleteRecords(kConnection);
  EXPECT_EQ(counts().delivered, 1U);
  EXPECT_EQ(counts().of(DropReason::unsent), 1U);
  EXPECT_EQ(counts().waiting, 0U);
}

TEST_F(RecordLedgerTest, WithAJournalTheyStay) {
  hasJournal_ = true;
  begin();
  add("<a/>");
  store_->document(kConnection);
  add("<b/>");
  outcome_ = Outcome::delivered;
  store_->deleteRecords(kConnection);
  EXPECT_EQ(counts(), (DeliveryCounts{.accepted = 2, .delivered = 1, .waiting = 1}));
}

TEST_F(RecordLedgerTest, TheOldestRecordsBeyondALimitAreDroppedAndTold) {
  limits_.lists[indexOf(kConnection)].records = 2;
  begin();
  for (const char* record : {"<a/>", "<b/>", "<c/>", "<d/>"}) add(record);
  EXPECT_THAT(*store_->document(kConnection), ::testing::HasSubstr("<c/><d/>"));
  EXPECT_EQ(counts().of(DropReason::records), 2U);
  ASSERT_EQ(drops_.size(), 2U);
  EXPECT_EQ(drops_[1].count, 1U);
  EXPECT_EQ(drops_[1].reason, DropReason::records);
}

TEST_F(RecordLedgerTest, ARecordOfADocumentOnItsWayIsDroppedAndNotRemovedAgain) {
  limits_.lists[indexOf(kConnection)].records = 2;
  hasJournal_ = true;
  begin();
  add("<a/>");
  add("<b/>");
  store_->document(kConnection);
  add("<c/>");  // drops the first
  outcome_ = Outcome::delivered;
  store_->deleteRecords(kConnection);
  EXPECT_THAT(*store_->document(kConnection), ::testing::HasSubstr("<c/>"));
  EXPECT_EQ(counts().delivered, 1U);
  EXPECT_EQ(counts().waiting, 1U);
}

TEST_F(RecordLedgerTest, AgesOutlastTheProcess) {
  limits_.lists[indexOf(kConnection)].age = 60s;
  begin();
  add("<a/>");
  host_.clock.advance(40s);
  restart();
  add("<b/>");
  host_.clock.advance(21s);
  restart();
  EXPECT_EQ(counts().of(DropReason::age), 1U);
  EXPECT_EQ(counts().waiting, 1U);
}

TEST_F(RecordLedgerTest, AfterAKillTheAgeOfARecordThatTheFileLacksBeginsOnce) {
  hasJournal_ = true;
  limits_.lists[indexOf(kConnection)].age = 60s;
  begin();
  add("<a/>");
  crash();
  host_.clock.advance(40s);
  crash();
  host_.clock.advance(21s);
  crash();
  EXPECT_EQ(counts().of(DropReason::age), 1U);
  EXPECT_EQ(counts().waiting, 0U);
}

TEST_F(RecordLedgerTest, AfterAKillNoRecordHasTheTimeOfOneThatWasDroppedForItsAge) {
  hasJournal_ = true;
  limits_.lists[indexOf(kConnection)].age = 60s;
  begin();
  add("<a/>");
  host_.clock.advance(50s);
  add("<b/>");
  host_.clock.advance(11s);
  ledger_->refusedBodyDropped(DropReason::bytes);  // writes the file
  add("<c/>");                                     // drops the first
  crash();
  EXPECT_EQ(counts().waiting, 2U);
}

TEST_F(RecordLedgerTest, WhatTheFileLacksOfDropsIsWrittenInTheNextSecond) {
  constexpr auto kClient = RecordType::client;
  hasJournal_ = true;
  limits_.lists[indexOf(kClient)].records = 1;
  begin();
  for (int record = 0; record < 3; ++record) store_->saveSQMRecordType(static_cast<std::int64_t>(kClient), "<a/>");
  host_.clock.advance(1s);
  add("<b/>");
  crash();
  EXPECT_EQ(ledger_->statistics().lists[indexOf(kClient)].of(DropReason::records), 2U);
}

TEST_F(RecordLedgerTest, TheCountsOutlastTheProcess) {
  begin();
  add("<a/>");
  add("<b/>");
  post(Outcome::delivered);
  add("<c/>");
  const DeliveryCounts before = counts();
  restart();
  EXPECT_EQ(counts(), before);
  EXPECT_THAT(problems_, IsEmpty());
}

TEST_F(RecordLedgerTest, InMemoryTheyBeginWithWhatTheListsHold) {
  isKept_ = false;
  begin();
  add("<a/>");
  post(Outcome::delivered);
  add("<b/>");
  restart();
  EXPECT_EQ(counts(), (DeliveryCounts{.accepted = 1, .waiting = 1}));
  EXPECT_FALSE(disk_.content);
}

TEST_F(RecordLedgerTest, WithoutAJournalAKillTakesThemBackToTheLastSave) {
  begin();
  add("<a/>");
  store_->SaveSQMStoreToDisk();
  post(Outcome::delivered);
  add("<b/>");
  crash();
  EXPECT_EQ(counts(), (DeliveryCounts{.accepted = 1, .waiting = 1}));
}

TEST_F(RecordLedgerTest, WithAJournalAKillTakesNothingBack) {
  hasJournal_ = true;
  begin();
  add("<a/>");
  post(Outcome::delivered);
  add("<b/>");
  crash();
  EXPECT_EQ(counts(), (DeliveryCounts{.accepted = 2, .delivered = 1, .waiting = 1}));
}

TEST_F(RecordLedgerTest, RecordsThatAreGoneWhenAProcessBeginsAreLost) {
  begin();
  add("<a/>");
  add("<b/>");
  end();
  host_.propertyLists.put(listFilePath(host_.configuration, kConnection), TextArray{"<a/>"});
  begin();
  EXPECT_EQ(counts().of(DropReason::lost), 1U);
  EXPECT_EQ(counts().accepted, 2U);
}

TEST_F(RecordLedgerTest, ADamagedFileIsMovedAsideAndTold) {
  begin();
  add("<a/>");
  end();
  disk_.content->pop_back();
  begin();
  EXPECT_THAT(problems_, ElementsAre("is damaged, and is moved aside"));
  EXPECT_TRUE(disk_.aside);
  EXPECT_EQ(counts(), (DeliveryCounts{.accepted = 1, .waiting = 1}));
}

TEST_F(RecordLedgerTest, AFileThatCannotBeWrittenIsToldOnceAndWrittenLater) {
  begin();
  disk_.failure = make_error_code(std::errc::no_space_on_device);
  add("<a/>");
  store_->SaveSQMStoreToDisk();
  add("<b/>");
  store_->SaveSQMStoreToDisk();
  EXPECT_EQ(problems_.size(), 1U);
  EXPECT_EQ(counts().accepted, 2U);
  disk_.failure = {};
  store_->SaveSQMStoreToDisk();
  EXPECT_EQ(statisticsOf(disk_.content.value()).value().counts, ledger_->statistics());
}

TEST_F(RecordLedgerTest, TheFilesThatTheFolderOfRefusedBodiesHadAreCounted) {
  begin();
  ledger_->refusedBodyDropped(DropReason::age);
  ledger_->refusedBodyDropped(DropReason::records);
  const DropCounts expected = {1, 0, 1};
  EXPECT_EQ(statisticsOf(disk_.content.value()).value().counts.refusedBodies, expected);
  restart();
  EXPECT_EQ(ledger_->statistics().refusedBodies, expected);
}

TEST_F(RecordLedgerTest, IsSyncedWhenAsked) {
  synced_ = true;
  begin();
  add("<a/>");
  store_->SaveSQMStoreToDisk();
  EXPECT_GE(disk_.syncs, 1);
}

// The queue's rules, called as the queue calls them.

UploadRequest request(const std::string& data) { return {"http://server.example/", data}; }

TEST_F(RecordLedgerTest, TheQueueIsBoundedAndItsFirstRequestStaysWhileItIsSent) {
  limits_.queue.records = 2;
  begin();
  UploadRequests queue;
  for (const char* data : {"a", "b", "c"}) {
    queue.push_back(request(data));
    ledger_->requestQueued(queue, /*isSending=*/true);
  }
  EXPECT_EQ(queue, (UploadRequests{request("a"), request("c")}));
  queue.push_back(request("d"));
  ledger_->requestQueued(queue, /*isSending=*/false);
  EXPECT_EQ(queue, (UploadRequests{request("c"), request("d")}));
  const DeliveryCounts counts = ledger_->statistics().queue;
  EXPECT_EQ(counts.accepted, 4U);
  EXPECT_EQ(counts.of(DropReason::records), 2U);
  EXPECT_EQ(counts.waiting, 2U);
  EXPECT_FALSE(drops_.at(0).type);
}

TEST_F(RecordLedgerTest, RequestsThatWereAnsweredAreCountedByTheirOutcome) {
  begin();
  UploadRequests queue;
  for (const auto outcome : {Outcome::delivered, Outcome::refused}) {
    queue.push_back(request("a"));
    ledger_->requestQueued(queue, false);
    queue.clear();
    outcome_ = outcome;
    ledger_->requestPosted(queue);
  }
  EXPECT_EQ(ledger_->statistics().queue, (DeliveryCounts{.accepted = 2, .delivered = 1, .refused = 1}));
  EXPECT_EQ(statisticsOf(disk_.content.value()).value().counts.queue, ledger_->statistics().queue);
}

TEST_F(RecordLedgerTest, AProcessThatUsesTheQueueAloneKeepsTheCountsOfTheLists) {
  begin();
  add("<a/>");
  const DeliveryCounts before = counts();
  end();
  RecordLedger ledger(std::make_unique<MemoryAppendFile>(disk_), host_.host, nullptr,
                      {.outcome = [] { return Outcome::delivered; }});
  UploadRequests queue = {request("a")};
  ledger.queueLoaded(queue);
  queue.clear();
  ledger.requestPosted(queue);
  const DeliveryStatistics kept = statisticsOf(disk_.content.value()).value().counts;
  EXPECT_EQ(kept.lists[indexOf(kConnection)], before);
  EXPECT_EQ(kept.queue, (DeliveryCounts{.accepted = 1, .delivered = 1}));
}

TEST_F(RecordLedgerTest, AQueueThatTheApplicationReplacedIsCountedAnew) {
  begin();
  UploadRequests queue = {request("a"), request("b"), request("c")};
  ledger_->requestQueued(queue, false);
  const DeliveryCounts counts = ledger_->statistics().queue;
  EXPECT_EQ(counts.accepted, 3U);
  EXPECT_EQ(counts.waiting, 3U);
}

}  // namespace
}  // namespace sqm::delivery
