#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/delivery/Journal.h"
#include "sqm/store/SQMRecordStore.h"
#include "sqm/testing/FakeHost.h"
#include "sqm/testing/MemoryAppendFile.h"

namespace sqm::delivery {
namespace {

using sqm::testing::FakeHost;
using sqm::testing::MemoryAppendFile;
using sqm::testing::MemoryDisk;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr auto kConnection = RecordType::connection;
constexpr auto kClient = RecordType::client;

/// A process with a store and a journal, on lists and a disk that outlive it.
class JournalTest : public ::testing::Test {
 protected:
  JournalTest() { begin(); }

  void begin() {
    journal_ = std::make_unique<Journal>(std::make_unique<MemoryAppendFile>(disk_), host_.clock,
                                         Journal::Options{.synced = synced_, .onProblem = [this](const auto& problem) {
                                                            problems_.push_back(problem);
                                                          }});
    host_.host.recordJournal = journal_.get();
    store_.emplace(host_.host);
  }

  /// Ends the process without a save, and begins the next one.
  void crash() {
    const auto lists = host_.propertyLists;
    const auto disk = disk_;
    store_.reset();  // which saves
    host_.propertyLists = lists;
    disk_ = disk;
    begin();
  }

  void add(RecordType type, const std::string& record) {
    store_->saveSQMRecordType(static_cast<std::int64_t>(type), record);
  }

  /// The records of a list, by what is posted, where each is an element: "<a/><b/>".
  std::string records(RecordType type) {
    const std::string text = store_->document(type).value_or("");
    const std::string element(rowOf(type).element);
    const std::size_t begin = text.find("<" + element + ">");
    if (begin == std::string::npos) return "";
    const std::size_t first = begin + element.size() + 2;
    return text.substr(first, text.size() - element.size() - 3 - first);
  }

  std::string pathOf(RecordType type) const { return listFilePath(*host_.host.configuration, type); }

  FakeHost host_;
  MemoryDisk disk_;
  bool synced_ = false;
  std::vector<std::string> problems_;
  std::unique_ptr<Journal> journal_;
  std::optional<SQMRecordStore> store_;
};

TEST_F(JournalTest, RecordsSurviveAnEndWithoutASave) {
  add(kConnection, "<a/>");
  add(kClient, "<x/>");
  add(kConnection, "<b/>");
  crash();
  EXPECT_EQ(records(kConnection), "<a/><b/>");
  EXPECT_EQ(records(kClient), "<x/>");
  add(kConnection, "<c/>");
  crash();
  EXPECT_EQ(records(kConnection), "<a/><b/><c/>");
  EXPECT_THAT(problems_, IsEmpty());
}

TEST_F(JournalTest, WithoutRecordsThereIsNoFile) {
  EXPECT_TRUE(store_->SaveSQMStoreToDisk());
  crash();
  EXPECT_FALSE(disk_.content);
}

TEST_F(JournalTest, RecordsFollowThoseOfTheSavedList) {
  add(kConnection, "<a/>");
  store_->SaveSQMStoreToDisk();
  const std::size_t begun = disk_.content->size();
  add(kConnection, "<b/>");
  EXPECT_EQ(disk_.content->size(), begun + 8 + 10 + 4);  // one frame: the journal begins anew after a save
  crash();
  EXPECT_EQ(records(kConnection), "<a/><b/>");
}

TEST_F(JournalTest, WhatWasRemovedDoesNotComeBack) {
  add(kConnection, "<a/>");
  store_->SaveSQMStoreToDisk();
  add(kConnection, "<b/>");
  store_->document(kConnection);
  store_->deleteRecords(kConnection);
  crash();
  EXPECT_EQ(records(kConnection), "");
  add(kConnection, "<c/>");
  crash();
  EXPECT_EQ(records(kConnection), "<c/>");
}

TEST_F(JournalTest, ARecordThatWasStoredAfterTheDocumentStays) {
  add(kConnection, "<a/>");
  store_->document(kConnection);
  add(kConnection, "<b/>");
  store_->deleteRecords(kConnection);
  EXPECT_EQ(records(kConnection), "<b/>");
  crash();
  EXPECT_EQ(records(kConnection), "<b/>");
}

TEST_F(JournalTest, AnEndBetweenTheListsAndTheJournalDoublesNothing) {
  add(kConnection, "<a/>");
  add(kClient, "<x/>");
  disk_.failure = make_error_code(std::errc::no_space_on_device);
  disk_.room = 1000;
  store_->SaveSQMStoreToDisk();  // the frames are appended, but the journal cannot begin anew
  add(kConnection, "<b/>");
  disk_.failure = {};
  crash();
  EXPECT_EQ(records(kConnection), "<a/><b/>");
  EXPECT_EQ(records(kClient), "<x/>");
}

TEST_F(JournalTest, AnEndBetweenTwoListsDoublesNothing) {
  add(kConnection, "<a/>");
  add(kClient, "<x/>");
  host_.propertyLists.refuseWriting(pathOf(kClient));
  store_->SaveSQMStoreToDisk();
  crash();
  EXPECT_EQ(records(kConnection), "<a/>");
  EXPECT_EQ(records(kClient), "<x/>");
}

TEST_F(JournalTest, AfterASaveThatFailsInPartAJournalThatBeginsAnewBringsNothingBack) {
  add(kConnection, "<a/>");
  host_.propertyLists.refuseWriting(pathOf(kClient));
  store_->SaveSQMStoreToDisk();
  disk_.content.reset();  // the journal is written anew with the next record
  add(kConnection, "<b/>");
  store_->document(kConnection);
  store_->deleteSQMConnectionRecordsFromStore();
  crash();
  EXPECT_EQ(records(kConnection), "");
}

TEST_F(JournalTest, RecordsAreAddedToAListThatWasReplacedUnlessItHasThem) {
  add(kConnection, "<a/>");
  store_->SaveSQMStoreToDisk();
  add(kConnection, "<b/>");
  add(kConnection, "<c/>");
  add(kConnection, "<c/>");
  host_.propertyLists.put(pathOf(kConnection), TextArray{"<z/>", "<c/>"});
  crash();
  EXPECT_EQ(records(kConnection), "<z/><c/><b/><c/>");
  EXPECT_THAT(problems_, ElementsAre(HasSubstr("does not know the content of a list's file")));
  add(kConnection, "<d/>");
  crash();
  EXPECT_EQ(records(kConnection), "<z/><c/><b/><c/><d/>");
  EXPECT_EQ(problems_.size(), 1U);
}

TEST_F(JournalTest, AListThatCannotBeReadLosesNoneOfTheJournalsRecords) {
  add(kConnection, "<a/>");
  store_->SaveSQMStoreToDisk();
  add(kConnection, "<b/>");
  host_.propertyLists.put(pathOf(kConnection), std::nullopt);
  crash();
  EXPECT_EQ(records(kConnection), "<b/>");
}

TEST_F(JournalTest, AnotherLoadingAppendsTheFilesRecordsOnceMore) {
  add(kConnection, "<a/>");
  store_->SaveSQMStoreToDisk();
  store_->LoadFromDisk();
  EXPECT_EQ(records(kConnection), "<a/><a/>");
  crash();
  EXPECT_EQ(records(kConnection), "<a/><a/>");
}

TEST_F(JournalTest, ATextThatAPropertyListCannotHoldIsNotDoubled) {
  add(kConnection, "<a>\x01\xFF</a>");
  disk_.failure = make_error_code(std::errc::no_space_on_device);
  disk_.room = 1000;
  store_->SaveSQMStoreToDisk();
  disk_.failure = {};
  host_.propertyLists.put(pathOf(kConnection), TextArray{"<a>\xEF\xBF\xBD\xEF\xBF\xBD</a>"});  // as it is read again
  crash();
  EXPECT_EQ(records(kConnection), "<a>\xEF\xBF\xBD\xEF\xBF\xBD</a>");
}

TEST_F(JournalTest, IsCutWhereItIsDamaged) {
  add(kConnection, "<a/>");
  add(kConnection, "<b/>");
  disk_.content->back() ^= 1;
  crash();
  EXPECT_EQ(records(kConnection), "<a/>");
  EXPECT_THAT(problems_, ElementsAre(HasSubstr("is damaged from byte ")));
  add(kConnection, "<c/>");
  crash();
  EXPECT_EQ(records(kConnection), "<a/><c/>");
  EXPECT_EQ(problems_.size(), 1U);
}

TEST_F(JournalTest, CutAnywhereItKeepsTheWholeRecordsBefore) {
  for (const std::string record : {"<a/>", "<b/>", "<c/>", "<d/>"}) add(kConnection, record);
  const std::string whole = *disk_.content;
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    disk_.content = whole.substr(0, size);
    crash();
    EXPECT_TRUE(std::string("<a/><b/><c/><d/>").starts_with(records(kConnection))) << size;
  }
  EXPECT_EQ(records(kConnection), "<a/><b/><c/><d/>");
}

TEST_F(JournalTest, OfAnotherVersionItIsMovedAside) {
  disk_.content = "SQMjrnl0 and more";
  crash();
  EXPECT_THAT(problems_, ElementsAre(HasSubstr("is of another version")));
  add(kConnection, "<a/>");
  EXPECT_EQ(disk_.aside, "SQMjrnl0 and more");
  crash();
  EXPECT_EQ(records(kConnection), "<a/>");
}

TEST_F(JournalTest, ThatCannotBeReadIsMovedAsideAndNotLost) {
  add(kConnection, "<a/>");
  const auto old = disk_.content;
  disk_.readFailure = make_error_code(std::errc::permission_denied);
  crash();
  EXPECT_EQ(records(kConnection), "");
  EXPECT_THAT(problems_, ElementsAre(HasSubstr("cannot be read")));
  disk_.readFailure = {};
  add(kConnection, "<b/>");
  EXPECT_EQ(disk_.aside, old);
  crash();
  EXPECT_EQ(records(kConnection), "<b/>");
}

TEST_F(JournalTest, OnAFullDiskRecordsStayInMemoryUntilThereIsRoom) {
  add(kConnection, "<a/>");
  disk_.failure = make_error_code(std::errc::no_space_on_device);
  disk_.room = 30;  // one frame and a part of the next
  add(kConnection, "<b/>");
  add(kConnection, "<c/>");
  add(kConnection, "<d/>");
  EXPECT_EQ(records(kConnection), "<a/><b/><c/><d/>");
  EXPECT_THAT(problems_, ElementsAre(HasSubstr("cannot be written")));  // once
  disk_.failure = {};
  add(kConnection, "<e/>");
  crash();
  EXPECT_EQ(records(kConnection), "<a/><b/><c/><d/><e/>");
  EXPECT_EQ(problems_.size(), 1U);
}

TEST_F(JournalTest, AStoreThatBeginsWhileTheDiskIsFullHasTheRecordsInMemory) {
  disk_.failure = make_error_code(std::errc::no_space_on_device);
  for (const RecordType type : kRecordTypes) host_.propertyLists.refuseWriting(pathOf(type));
  add(kConnection, "<a/>");
  store_.reset();
  store_.emplace(host_.host);
  EXPECT_EQ(records(kConnection), "<a/>");
}

TEST_F(JournalTest, AFileThatIsRemovedIsWrittenAgain) {
  add(kConnection, "<a/>");
  disk_.content.reset();
  add(kConnection, "<b/>");
  crash();
  EXPECT_EQ(records(kConnection), "<a/><b/>");
}

TEST_F(JournalTest, AttemptsToReplaceTheFileAreASecondApart) {
  disk_.failure = make_error_code(std::errc::no_space_on_device);
  add(kConnection, "<a/>");
  disk_.failure = {};
  add(kConnection, "<b/>");
  EXPECT_FALSE(disk_.content);
  host_.clock.advance(std::chrono::seconds(1));
  add(kConnection, "<c/>");
  crash();
  EXPECT_EQ(records(kConnection), "<a/><b/><c/>");
}

TEST_F(JournalTest, DoesNotGrowWithRecordsThatAreGone) {
  const std::string record = "<a>" + std::string(10'000, 'a') + "</a>";
  for (int round = 0; round < 1000; ++round) {
    add(kConnection, record);
    store_->document(kConnection);
    store_->deleteRecords(kConnection);
    ASSERT_LE(disk_.content->size(), std::size_t{3} << 19);
  }
  crash();
  EXPECT_EQ(records(kConnection), "");
}

TEST_F(JournalTest, WhatAFullDiskLacksDoesNotGrowWithRecordsThatAreGone) {
  disk_.failure = make_error_code(std::errc::no_space_on_device);
  const std::string record = "<a>" + std::string(10'000, 'a') + "</a>";
  for (int round = 0; round < 1000; ++round) {
    add(kConnection, record);
    store_->document(kConnection);
    store_->deleteRecords(kConnection);
  }
  disk_.failure = {};
  host_.clock.advance(std::chrono::seconds(1));
  add(kConnection, "<b/>");
  EXPECT_LE(disk_.content->size(), std::size_t{3} << 19);
  crash();
  EXPECT_EQ(records(kConnection), "<b/>");
}

TEST_F(JournalTest, ManyShortRecordsAreNotWrittenAgainWithEachRemoval) {
  for (int number = 0; number < 70'000; ++number) add(kClient, "");
  const int before = disk_.replacements;
  for (int round = 0; round < 100; ++round) {
    add(kConnection, "<a/>");
    store_->document(kConnection);
    store_->deleteRecords(kConnection);
  }
  EXPECT_EQ(disk_.replacements, before);
}

TEST_F(JournalTest, SyncsEachCallWhenThatIsAskedFor) {
  add(kConnection, "<a/>");
  EXPECT_EQ(disk_.syncs, 0);
  synced_ = true;
  crash();
  add(kConnection, "<b/>");
  const int syncs = disk_.syncs;
  add(kConnection, "<c/>");
  EXPECT_EQ(disk_.syncs, syncs + 1);
  store_->document(kConnection);
  store_->deleteRecords(kConnection);
  EXPECT_EQ(disk_.syncs, syncs + 2);
}

}  // namespace
}  // namespace sqm::delivery
