#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/HttpTransaction.h"
#include "sqm/testing/FakeHost.h"
#include "sqm/upload/SQMUpdaterAgent.h"
#include "sqm/upload/SQMUploadNotifications.h"

#include "tests/support/CaseName.h"
#include "tests/upload/RecordedSteps.h"

using sqm::Notification;
using sqm::NotificationCenter;
using sqm::SQMUpdaterAgent;
using sqm::TrelkSQMUploadFailure;
using sqm::TrelkSQMUploadSuccess;
using sqm::testing::FakeHost;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Status = sqm::SQMUpdaterAgent::Status;

namespace {

constexpr std::string_view kUploadLog = "SQMUploadlog.log";
constexpr std::string_view kReceived = "DEBUG 2 httpStatus***notification recieved :";

constexpr std::string_view kEveryNotification[] = {TrelkSQMUploadSuccess, TrelkSQMUploadFailure,
                                                   sqm::TrelkSQMUploadComplete, sqm::TrelkSQMUploadError};

class UpdaterAgent : public ::testing::Test {
 protected:
  UpdaterAgent() {
    for (const std::string_view name : kEveryNotification) {
      observers_.push_back(
          fakes.notificationCenter.addObserver(name, nullptr, [this](const Notification& notification) {
            outcomes.emplace_back(notification.name);
            senders.push_back(notification.object);
            statusesInside.push_back(agent->uploadStatus());
          }));
    }
  }

  sqm::testing::ScriptedHttp::Transaction& transaction() const { return *fakes.http.transactions().back(); }
  std::vector<std::string> log() const { return fakes.logs.lines(kUploadLog); }

  FakeHost fakes;
  std::unique_ptr<SQMUpdaterAgent> agent = SQMUpdaterAgent::create(fakes.host);
  std::vector<std::string> outcomes;
  std::vector<const void*> senders;
  std::vector<Status> statusesInside;

 private:
  std::vector<NotificationCenter::Registration> observers_;
};

TEST(UploadNotifications, EveryNameIsItsOwnText) {
  EXPECT_THAT(kEveryNotification, ElementsAre("TrelkSQMUploadSuccess", "TrelkSQMUploadFailure",
                                              "TrelkSQMUploadComplete", "TrelkSQMUploadError"));
}

TEST_F(UpdaterAgent, SetsItsTransactionUp) {
  ASSERT_NE(agent, nullptr);
  ASSERT_EQ(fakes.http.transactions().size(), 1U);
  EXPECT_EQ(transaction().encoding(), 0);
  EXPECT_EQ(transaction().session(), "TrelkConnect");
  EXPECT_EQ(transaction().logFile(), "SQMHttp.log");
  EXPECT_EQ(agent->uploadStatus(), Status::idle);
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(UpdaterAgent, IsNotMadeWithoutATransaction) {
  fakes.http.refuse();
  EXPECT_EQ(SQMUpdaterAgent::create(fakes.host), nullptr);
}

TEST_F(UpdaterAgent, IsNotMadeWithoutALogAndLeavesNothingBehind) {
  fakes.logs.refuse(kUploadLog);
  EXPECT_EQ(SQMUpdaterAgent::create(fakes.host), nullptr);
  EXPECT_EQ(fakes.http.transactions().size(), 1U) << "the fixture's alone";
}

TEST(UpdaterAgentSteps, SetUpTheTransactionThenOpenTheLogAtLevel2) {
  FakeHost fakes;
  RecordedSteps recorded(fakes);
  const auto agent = SQMUpdaterAgent::create(fakes.host);
  EXPECT_THAT(recorded.steps,
              ElementsAre("make", "encoding 0", "session TrelkConnect, SQMHttp.log", "open SQMUploadlog.log 2"));
}

TEST(UpdaterAgentSteps, RegisterAfterTheSessionIsStartedAndBeforeTheLogIsOpened) {
  EXPECT_EQ(stepsWithObservers<SQMUpdaterAgent>(TrelkSQMUploadFailure), "open SQMUploadlog.log 2");
}

TEST(UpdaterAgentSteps, LogBeforeTheDocumentIsSentAndSetTheStateAfter) {
  FakeHost fakes;
  RecordedSteps recorded(fakes);
  const auto agent = SQMUpdaterAgent::create(fakes.host);
  recorded.steps.clear();
  std::vector<Status> statuses;
  recorded.onStep = [&](std::string_view) { statuses.push_back(agent->uploadStatus()); };
  agent->startUploadToURL("http://sqm.test/", "<doc/>");
  EXPECT_THAT(recorded.steps, ElementsAre("line 2 startSend***started sending data to server: http://sqm.test/",
                                          "line 2 startSend*** SQM Data:<doc/>", "send <doc/>"));
  EXPECT_THAT(statuses, ElementsAre(Status::idle, Status::idle, Status::idle));
  EXPECT_EQ(agent->uploadStatus(), Status::sending);
}

TEST_F(UpdaterAgent, PostsTheDocument) {
  agent->startUploadToURL("http://sqm.test/client", "<doc/>");
  ASSERT_EQ(fakes.http.requests().size(), 1U);
  EXPECT_EQ(fakes.http.requests()[0].url, "http://sqm.test/client");
  EXPECT_EQ(fakes.http.requests()[0].method, 1);
  EXPECT_EQ(fakes.http.requests()[0].data, "<doc/>");
  EXPECT_EQ(agent->uploadStatus(), Status::sending);
  EXPECT_THAT(outcomes, IsEmpty());
}

TEST_F(UpdaterAgent, LogsAddressAndDocumentAsData) {
  agent->startUploadToURL("http://sqm.test/?q=%@&100%", "<doc>%@ %s %</doc>");
  EXPECT_THAT(log(), ElementsAre("DEBUG 2 startSend***started sending data to server: http://sqm.test/?q=%@&100%",
                                 "DEBUG 2 startSend*** SQM Data:<doc>%@ %s %</doc>"));
}

TEST_F(UpdaterAgent, AnAbsentDocumentIsIgnored) {
  agent->startUploadToURL("http://sqm.test/", std::nullopt);
  EXPECT_THAT(fakes.http.requests(), IsEmpty());
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_EQ(agent->uploadStatus(), Status::idle);
}

TEST_F(UpdaterAgent, AbsentDocumentLeavesAnEarlierStatus) {
  agent->startUploadToURL("http://sqm.test/", "<doc/>");
  fakes.http.complete(200);
  agent->startUploadToURL("http://sqm.test/", std::nullopt);
  EXPECT_EQ(agent->uploadStatus(), Status::succeeded);
}

TEST_F(UpdaterAgent, EmptyDocumentIsSent) {
  agent->startUploadToURL("http://sqm.test/", "");
  ASSERT_EQ(fakes.http.requests().size(), 1U);
  EXPECT_EQ(fakes.http.requests()[0].data, "");
  EXPECT_EQ(agent->uploadStatus(), Status::sending);
}

TEST_F(UpdaterAgent, AbsentAddressIsPassedOn) {
  agent->startUploadToURL(std::nullopt, "<doc/>");
  ASSERT_EQ(fakes.http.requests().size(), 1U);
  EXPECT_EQ(fakes.http.requests()[0].url, std::nullopt);
  EXPECT_EQ(agent->uploadStatus(), Status::sending);
  EXPECT_THAT(log(), ElementsAre("DEBUG 2 startSend***started sending data to server: (null)",
                                 "DEBUG 2 startSend*** SQM Data:<doc/>"));
}

TEST_F(UpdaterAgent, ASecondUploadUsesTheSameTransaction) {
  agent->startUploadToURL("http://sqm.test/1", "<one/>");
  agent->startUploadToURL("http://sqm.test/2", "<two/>");
  EXPECT_EQ(fakes.http.requests().size(), 2U);
  EXPECT_EQ(fakes.http.transactions().size(), 1U);
}

/// An outcome of the transaction, and what the agent reports for it.
struct EndCase {
  const char* name;
  std::string_view notification;
  int status;
  std::vector<std::string> outcomes;
  Status after;
  std::size_t logLines;
};

class UpdaterAgentEnd : public UpdaterAgent, public ::testing::WithParamInterface<EndCase> {};

INSTANTIATE_TEST_SUITE_P(
    Ends, UpdaterAgentEnd,
    ::testing::Values(
        EndCase{"Completed200",
                sqm::TrelkHttpTransactionCompletedNotification,
                200,
                {"TrelkSQMUploadSuccess"},
                Status::succeeded,
                2},
        EndCase{"Completed404",
                sqm::TrelkHttpTransactionCompletedNotification,
                404,
                {"TrelkSQMUploadSuccess"},
                Status::succeeded,
                2},
        EndCase{"Completed500",
                sqm::TrelkHttpTransactionCompletedNotification,
                500,
                {"TrelkSQMUploadSuccess"},
                Status::succeeded,
                2},
        EndCase{"Error", sqm::TrelkHttpTransactionErrorNotification, 0, {"TrelkSQMUploadFailure"}, Status::idle, 1},
        EndCase{"TimeOut", sqm::TrelkHttpTransactionTimeOutNotification, 0, {"TrelkSQMUploadFailure"}, Status::idle, 1},
        EndCase{"Aborted", sqm::TrelkHttpTransactionAbortedNotification, 0, {}, Status::sending, 1}),
    CaseName());

TEST_P(UpdaterAgentEnd, IsPostedAndLogged) {
  agent->startUploadToURL("http://sqm.test/", "<doc/>");
  const std::size_t linesBefore = log().size();
  transaction().end(GetParam().notification, GetParam().status);

  EXPECT_EQ(outcomes, GetParam().outcomes);
  for (const void* sender : senders) EXPECT_EQ(sender, agent.get());
  for (const Status status : statusesInside) EXPECT_EQ(status, Status::sending) << "set after the outcome is posted";
  EXPECT_EQ(agent->uploadStatus(), GetParam().after);

  auto lines = log();
  lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(linesBefore));
  const std::vector<std::string> expected(GetParam().logLines,
                                          std::string(kReceived) + std::string(GetParam().notification));
  EXPECT_EQ(lines, expected);
}

TEST_P(UpdaterAgentEnd, OfAnotherTransactionIsNotReceived) {
  const auto other = fakes.http.makeTransaction();
  agent->startUploadToURL("http://sqm.test/", "<doc/>");
  const std::size_t linesBefore = log().size();
  ASSERT_EQ(&transaction(), other.get());
  transaction().end(GetParam().notification, GetParam().status);
  fakes.notificationCenter.postNotificationName(GetParam().notification, nullptr);
  EXPECT_THAT(outcomes, IsEmpty());
  EXPECT_EQ(log().size(), linesBefore);
  EXPECT_EQ(agent->uploadStatus(), Status::sending);
}

TEST_P(UpdaterAgentEnd, IsNotReceivedOnceTheAgentIsDestroyed) {
  const void* sender = fakes.http.transactions().back();
  agent.reset();
  EXPECT_THAT(fakes.http.transactions(), IsEmpty());
  fakes.notificationCenter.postNotificationName(GetParam().notification, sender);
  EXPECT_THAT(outcomes, IsEmpty());
  EXPECT_THAT(log(), IsEmpty());
}

TEST_P(UpdaterAgentEnd, AnotherUploadMayFollow) {
  agent->startUploadToURL("http://sqm.test/1", "<one/>");
  transaction().end(GetParam().notification, GetParam().status);
  agent->startUploadToURL("http://sqm.test/2", "<two/>");
  EXPECT_EQ(agent->uploadStatus(), Status::sending);
  fakes.http.complete(200);
  EXPECT_EQ(agent->uploadStatus(), Status::succeeded);
}

TEST_P(UpdaterAgentEnd, AnUploadThatAnObserverStartsHasTheEarlierOnesStatus) {
  const auto startNext = [&](const Notification&) { agent->startUploadToURL("http://sqm.test/2", "<two/>"); };
  const auto onSuccess = fakes.notificationCenter.addObserver(TrelkSQMUploadSuccess, agent.get(), startNext);
  const auto onFailure = fakes.notificationCenter.addObserver(TrelkSQMUploadFailure, agent.get(), startNext);
  agent->startUploadToURL("http://sqm.test/1", "<one/>");
  transaction().end(GetParam().notification, GetParam().status);
  EXPECT_EQ(fakes.http.requests().size(), 1 + GetParam().outcomes.size());
  EXPECT_EQ(agent->uploadStatus(), GetParam().after);
  agent->abortSend();
  EXPECT_EQ(transaction().aborts(), GetParam().after == Status::sending ? 1 : 0);
}

TEST_P(UpdaterAgentEnd, AnObserverMayDestroyTheAgent) {
  std::vector<NotificationCenter::Registration> observers;
  bool wasDestroyed = false;
  for (const std::string_view name : kEveryNotification) {
    observers.push_back(fakes.notificationCenter.addObserver(name, agent.get(), [&](const Notification&) {
      agent.reset();
      wasDestroyed = true;
    }));
  }
  agent->startUploadToURL("http://sqm.test/", "<doc/>");
  transaction().end(GetParam().notification, GetParam().status);
  EXPECT_EQ(wasDestroyed, !GetParam().outcomes.empty());
}

TEST_F(UpdaterAgent, AbortDoesNothingUnlessSending) {
  agent->abortSend();
  EXPECT_EQ(transaction().aborts(), 0) << "idle";
  agent->startUploadToURL("http://sqm.test/", "<doc/>");
  fakes.http.complete(200);
  agent->abortSend();
  EXPECT_EQ(transaction().aborts(), 0) << "succeeded";
  agent->startUploadToURL("http://sqm.test/", "<doc/>");
  fakes.http.fail();
  agent->abortSend();
  EXPECT_EQ(transaction().aborts(), 0) << "failed";
}

TEST_F(UpdaterAgent, AbortIsSilentAndMayBeRepeated) {
  agent->startUploadToURL("http://sqm.test/", "<doc/>");
  agent->abortSend();
  EXPECT_EQ(transaction().aborts(), 1);
  fakes.http.endAbort();
  EXPECT_THAT(outcomes, IsEmpty());
  EXPECT_EQ(agent->uploadStatus(), Status::sending);
  agent->abortSend();
  EXPECT_EQ(transaction().aborts(), 2);
}

TEST_F(UpdaterAgent, KeepsAnAddressThatUploadsDoNotUse) {
  EXPECT_EQ(agent->sqmUploadUrl(), std::nullopt);
  {
    const std::string address = "http://sqm.test/a/long/address/that/is/copied";
    agent->setSQMUploadUrl(address);
  }
  EXPECT_EQ(agent->sqmUploadUrl(), "http://sqm.test/a/long/address/that/is/copied");
  agent->setSQMUploadUrl(*agent->sqmUploadUrl());
  EXPECT_EQ(agent->sqmUploadUrl(), "http://sqm.test/a/long/address/that/is/copied");
  agent->startUploadToURL("http://sqm.test/2", "<doc/>");
  EXPECT_EQ(fakes.http.requests().back().url, "http://sqm.test/2");
  agent->setSQMUploadUrl(std::nullopt);
  EXPECT_EQ(agent->sqmUploadUrl(), std::nullopt);
}

}  // namespace
