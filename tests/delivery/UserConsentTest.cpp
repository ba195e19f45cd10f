#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/delivery/UserConsent.h"
#include "sqm/store/SQMRecordStore.h"
#include "sqm/testing/FakeHost.h"

namespace sqm::delivery {
namespace {

using sqm::testing::FakeHost;
using sqm::testing::MemoryFiles;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

bool isSession(std::string_view name) { return name.ends_with(".sqm"); }

class UserConsentTest : public ::testing::Test {
 public:
  UserConsentTest() {
    for (const char* folder : {"/app", "/sqm", "/sessions", "/logs"}) host_.files.makeFolder(folder);
    host_.configuration.applicationFolder = "/app";
  }
  ~UserConsentTest() override { host_.host.recordJournal = nullptr; }

 protected:
  UserConsent& make(Consent initial = Consent::granted) {
    consent_.emplace(host_.host, nullptr, nullptr,
                     UserConsent::Options{.initial = initial,
                                          .files = {"/sqm/List.plist", "/app/Queue.plist"},
                                          .sessionFolders = {"/sessions"},
                                          .isSessionFile = isSession,
                                          .logFolder = "/logs",
                                          .setMaySend = [this](bool may) { maySend_ = may; },
                                          .setMayLog = [this](bool may) { mayLog_ = may; }});
    return *consent_;
  }

  std::string choice() const { return host_.files.content("/app/UserConsent.txt").value_or("none"); }

  FakeHost host_;
  std::optional<bool> maySend_;
  std::optional<bool> mayLog_;
  std::optional<UserConsent> consent_;
};

TEST_F(UserConsentTest, IsTheInitialOneWhileTheUserHasNotChosen) {
  EXPECT_EQ(make(Consent::withheld).value(), Consent::withheld);
  EXPECT_EQ(maySend_, false);
  EXPECT_EQ(mayLog_, true);
  EXPECT_EQ(choice(), "none") << "nothing is written before the user chooses";
}

TEST_F(UserConsentTest, TheChoiceOutlastsTheProcess) {
  EXPECT_FALSE(make().set(Consent::withheld));
  EXPECT_EQ(choice(), "SQM user consent 1\nwithheld\n");
  EXPECT_EQ(make().value(), Consent::withheld);
  EXPECT_EQ(maySend_, false);
  EXPECT_FALSE(consent_->set(Consent::granted));
  EXPECT_EQ(maySend_, true);
  EXPECT_EQ(make(Consent::withheld).value(), Consent::granted);
}

TEST_F(UserConsentTest, AFileThatIsDamagedOrCannotBeReadCountsAsWithheld) {
  for (const char* text : {"", "SQM user consent 1\n", "SQM user consent 1\ngranted", "SQM user consent 2\ngranted\n",
                           "SQM user consent 1\ngrantee\n", "granted\n"}) {
    host_.files.put("/app/UserConsent.txt", text);
    EXPECT_EQ(make().value(), Consent::withheld) << text;
  }
  host_.files.refuse(MemoryFiles::Operation::read, "/app/UserConsent.txt");
  EXPECT_EQ(make().value(), Consent::withheld);
}

TEST_F(UserConsentTest, AChoiceThatCannotBeKeptIsReportedAndApplies) {
  host_.files.refuse(MemoryFiles::Operation::write, "/app/UserConsent.txt");
  EXPECT_TRUE(make().set(Consent::withheld));
  EXPECT_EQ(consent_->value(), Consent::withheld);
  EXPECT_EQ(maySend_, false);
}

TEST_F(UserConsentTest, RevokingRemovesWhatIsStored) {
  for (const char* path :
       {"/sqm/List.plist", "/sqm/List.plist.new", "/sqm/List.plist.aside", "/sqm/Other.plist", "/app/Queue.plist",
        "/sessions/a.sqm", "/sessions/b.txt", "/logs/A.log", "/logs/A.log.2", "/logs/A.log.old", "/logs/readme"}) {
    host_.files.put(path, "text");
  }
  EXPECT_FALSE(make().set(Consent::revoked));
  EXPECT_EQ(maySend_, false);
  EXPECT_EQ(mayLog_, false);
  EXPECT_THAT(host_.files.names("/sqm"), ElementsAre("Other.plist"));
  EXPECT_THAT(host_.files.names("/app"), ElementsAre("UserConsent.txt"));
  EXPECT_THAT(host_.files.names("/sessions"), ElementsAre("b.txt"));
  EXPECT_THAT(host_.files.names("/logs"), ElementsAre("A.log.old", "readme"));
}

TEST_F(UserConsentTest, WhatCannotBeRemovedIsReportedAndTheRestGoes) {
  host_.files.put("/sqm/List.plist", "text");
  host_.files.put("/app/Queue.plist", "text");
  host_.files.refuse(MemoryFiles::Operation::remove, "/sqm/List.plist");
  EXPECT_TRUE(make().set(Consent::revoked));
  EXPECT_FALSE(host_.files.exists("/app/Queue.plist"));
}

TEST_F(UserConsentTest, AProcessThatBeginsRevokedRemovesWhatTheOneBeforeCouldNot) {
  host_.files.put("/app/UserConsent.txt", "SQM user consent 1\nrevoked\n");
  host_.files.put("/sqm/List.plist", "text");
  make();
  EXPECT_FALSE(host_.files.exists("/sqm/List.plist"));
}

TEST_F(UserConsentTest, TheStoreForgetsItsRecordsAndTakesNoneUntilItIsGrantedAgain) {
  host_.host.recordJournal = &make();
  SQMRecordStore store(host_.host);
  store.saveSQMClientRecordToStore("<a/>");
  EXPECT_FALSE(consent_->set(Consent::revoked));
  EXPECT_FALSE(store.hasRecords(RecordType::client));
  store.saveSQMClientRecordToStore("<b/>");
  EXPECT_FALSE(store.hasRecords(RecordType::client));
  EXPECT_FALSE(consent_->set(Consent::granted));
  store.saveSQMClientRecordToStore("<c/>");
  EXPECT_TRUE(store.hasRecords(RecordType::client));
}

TEST_F(UserConsentTest, WithheldRecordsAreKept) {
  host_.host.recordJournal = &make();
  SQMRecordStore store(host_.host);
  store.saveSQMClientRecordToStore("<a/>");
  EXPECT_FALSE(consent_->set(Consent::withheld));
  store.saveSQMClientRecordToStore("<b/>");
  EXPECT_THAT(*store.document(RecordType::client), ::testing::HasSubstr("<a/><b/>"));
  EXPECT_TRUE(consent_->mayQueue());
}

TEST_F(UserConsentTest, TheQueueIsEmptiedAndTakesNoRequests) {
  make();
  UploadRequests queue = {{"http://a/", "x"}};
  consent_->rulesChanged(queue);
  EXPECT_EQ(queue.size(), 1U);
  EXPECT_FALSE(consent_->set(Consent::revoked));
  EXPECT_FALSE(consent_->mayQueue());
  consent_->rulesChanged(queue);
  EXPECT_THAT(queue, IsEmpty());
  queue = {{"http://a/", "x"}};
  consent_->queueLoaded(queue);
  EXPECT_THAT(queue, IsEmpty());
}

TEST(ConsentNames, AreThoseOfScenarios) {
  for (const Consent consent : {Consent::granted, Consent::withheld, Consent::revoked}) {
    EXPECT_EQ(consentNamed(nameOf(consent)), consent);
  }
  EXPECT_EQ(nameOf(Consent::withheld), "withheld");
  EXPECT_FALSE(consentNamed(""));
}

}  // namespace
}  // namespace sqm::delivery
