#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/HttpTransaction.h"
#include "sqm/upload/SQMUploadNotifications.h"

#include "tests/manager/ManagerUploadFixture.h"
#include "tests/support/CaseName.h"

using sqm::Notification;
using sqm::SQMManager;
using sqm::TrelkSQMUploadFailure;
using sqm::TrelkSQMUploadSuccess;
using sqm::UploadState;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using enum sqm::RecordType;

// --- Failures, aborts, other senders ------------------------------------------------------------------------------

struct FailureCase {
  const char* name;
  void (sqm::testing::ScriptedHttp::*end)();
};

class FailedUpload : public ManagerUpload, public ::testing::WithParamInterface<FailureCase> {};

INSTANTIATE_TEST_SUITE_P(Failures, FailedUpload,
                         ::testing::Values(FailureCase{"Error", &sqm::testing::ScriptedHttp::fail},
                                           FailureCase{"TimeOut", &sqm::testing::ScriptedHttp::timeOut}),
                         CaseName());

TEST_P(FailedUpload, IsLoggedWithTheStateAndEndsTheSequence) {
  const struct {
    std::size_t posts;
    UploadState state;
    std::vector<sqm::RecordType> left;
  } cases[] = {{0, UploadState::client, {client, connection, device, application, userAcceptance}},
               {1, UploadState::connection, {connection, device, application, userAcceptance}},
               {2, UploadState::device, {device, application, userAcceptance}},
               {3, UploadState::application, {application, userAcceptance}},
               {4, UploadState::userAcceptance, {userAcceptance}}};
  for (const auto& [posts, state, left] : cases) {
    restartWith({client, connection, device, application, userAcceptance});
    manager->uploadSQM();
    for (std::size_t post = 0; post < posts; ++post) fakes.http.complete(200);
    const std::size_t posted = fakes.http.requests().size();
    (fakes.http.*GetParam().end)();
    EXPECT_EQ(log().back(),
              "USER 2 httpStatus: TrelkSQMUploadFailure notification recieved for SQM record of type mUploadState=" +
                  std::to_string(static_cast<int>(state)) + ".");
    EXPECT_EQ(heldTypes(), left);
    EXPECT_EQ(manager->uploadState(), state);
    EXPECT_EQ(fakes.http.requests().size(), posted) << "nothing is retried";
  }
  EXPECT_EQ(log().size(), std::size(cases));
}

TEST_P(FailedUpload, IsRepeatedByTheNextUpload) {
  restartWith({client, connection});
  manager->uploadSQM();
  fakes.http.complete(200);
  (fakes.http.*GetParam().end)();
  manager->uploadSQM();
  fakes.http.complete(200);
  EXPECT_THAT(bodies(), ElementsAre(bodyOf(client), bodyOf(connection), bodyOf(connection)));
  EXPECT_THAT(heldTypes(), IsEmpty());
}

TEST_F(ManagerUpload, AbortedUploadLeavesTheManagerWaitingUntilTheNext) {
  restartWith({client});
  manager->uploadSQM();
  fakes.http.endAbort();
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_EQ(manager->uploadState(), UploadState::client);
  EXPECT_THAT(heldTypes(), ElementsAre(client));
  manager->uploadSQM();
  EXPECT_THAT(bodies(), ElementsAre(bodyOf(client), bodyOf(client)));
}

TEST_F(ManagerUpload, FailureBeforeTheFirstUploadIsLoggedWithStateZero) {
  restartWith({client});
  fakes.http.fail();
  EXPECT_THAT(log(),
              ElementsAre("USER 2 httpStatus: TrelkSQMUploadFailure notification recieved for SQM record of type "
                          "mUploadState=0."));
  EXPECT_EQ(manager->uploadState(), UploadState::idle);
  EXPECT_THAT(heldTypes(), ElementsAre(client));
  EXPECT_THAT(bodies(), IsEmpty());
}

TEST_F(ManagerUpload, NotificationOfAnotherNameDoesNothingInAnyState) {
  restartWith({client, connection, device, application, userAcceptance});
  const std::string_view names[] = {sqm::TrelkSQMUploadComplete, sqm::TrelkSQMUploadError, "", "trelksqmuploadsuccess",
                                    sqm::TrelkHttpTransactionCompletedNotification};
  const auto expectNoEffect = [&] {
    const auto state = manager->uploadState();
    const auto held = heldTypes();
    const std::size_t posted = fakes.http.requests().size();
    for (const std::string_view name : names) manager->httpStatus({.name = name, .object = nullptr});
    EXPECT_EQ(manager->uploadState(), state);
    EXPECT_EQ(heldTypes(), held);
    EXPECT_EQ(fakes.http.requests().size(), posted);
  };
  expectNoEffect();
  manager->uploadSQM();
  for (int posts = 0; posts < 5; ++posts) {
    expectNoEffect();
    fakes.http.complete(200);
  }
  expectNoEffect();
  EXPECT_THAT(log(), IsEmpty());
}

TEST_F(ManagerUpload, NotificationsOfOtherSendersAreNotReceived) {
  restartWith({client});
  manager->uploadSQM();
  const auto otherAgent = sqm::SQMUpdaterAgent::create(fakes.host);
  for (const void* sender : {static_cast<const void*>(otherAgent.get()), static_cast<const void*>(nullptr),
                             static_cast<const void*>(manager.get())}) {
    fakes.notificationCenter.postNotificationName(TrelkSQMUploadSuccess, sender);
    fakes.notificationCenter.postNotificationName(TrelkSQMUploadFailure, sender);
  }
  EXPECT_THAT(log(), IsEmpty());
  EXPECT_THAT(heldTypes(), ElementsAre(client));
  EXPECT_EQ(fakes.http.requests().size(), 1U);
}

TEST_F(ManagerUpload, TwoManagersReceiveOnlyTheirOwnNotifications) {
  restartWith({client});
  SQMManager other(fakes.host);
  manager->uploadSQM();
  other.uploadSQM();
  fakes.http.complete(200);  // of the other
  EXPECT_EQ(manager->uploadState(), UploadState::client);
  EXPECT_EQ(other.uploadState(), UploadState::connection);
}

TEST_F(ManagerUpload, AddressesAreReplacedAndAbsentOnesPassedOn) {
  restartWith({client, connection, device, application, userAcceptance});
  manager->SetSQMClientURL("%@ is no address");
  manager->SetSQMConnectionURL(std::nullopt);
  manager->SetSQMDeviceURL("");
  manager->SetSQMApplicationURL(std::nullopt);
  manager->SetSQMUserAcceptanceURL(std::nullopt);
  manager->uploadSQM();
  completeAll();
  EXPECT_THAT(urls(), ElementsAre("%@ is no address", std::nullopt, "", std::nullopt, std::nullopt));
}

TEST_F(ManagerUpload, AddressesAreAbsentAtFirst) {
  restart();
  manager->uploadSQM();
  ASSERT_EQ(fakes.http.requests().size(), 1U);
  EXPECT_EQ(fakes.http.requests()[0].url, std::nullopt);
}

// --- Hosts without a service, observers that act ------------------------------------------------------------------

TEST_F(ManagerUpload, WithoutATransactionDoesNothing) {
  fakes.http.refuse();
  restartWith({client, connection, userAcceptance});
  manager->uploadSQM();
  EXPECT_THAT(bodies(), IsEmpty());
  EXPECT_THAT(heldTypes(), ElementsAre(client, connection, userAcceptance));
  restartWith({connection});
  manager->uploadSQM();
  EXPECT_THAT(heldTypes(), ElementsAre(connection));
}

TEST_F(ManagerUpload, WithoutTheUploadLogDoesNothing) {
  fakes.logs.refuse("SQMUploadlog.log");
  restartWith({client});
  manager->uploadSQM();
  EXPECT_THAT(fakes.http.transactions(), IsEmpty());
  EXPECT_THAT(bodies(), IsEmpty());
  EXPECT_THAT(heldTypes(), ElementsAre(client));
  fakes.notificationCenter.postNotificationName(TrelkSQMUploadFailure, nullptr);
  EXPECT_THAT(log(), IsEmpty()) << "there is no agent to observe";
}

TEST_F(ManagerUpload, WithoutItsOwnLogUploads) {
  fakes.logs.refuse("SQMManager.log");
  restartWith({client});
  manager->uploadSQM();
  fakes.http.fail();
  manager->uploadSQM();
  completeAll();
  EXPECT_THAT(heldTypes(), IsEmpty());
}

struct ObserverCase {
  const char* name;
  std::string_view notification;
  bool isFirst;  // registered and called before the manager
};

class ManagerObserver : public ManagerUpload, public ::testing::WithParamInterface<ObserverCase> {};

INSTANTIATE_TEST_SUITE_P(Observers, ManagerObserver,
                         ::testing::Values(ObserverCase{"OfSuccessBefore", TrelkSQMUploadSuccess, true},
                                           ObserverCase{"OfSuccessAfter", TrelkSQMUploadSuccess, false},
                                           ObserverCase{"OfFailureBefore", TrelkSQMUploadFailure, true},
                                           ObserverCase{"OfFailureAfter", TrelkSQMUploadFailure, false}),
                         CaseName());

TEST_P(ManagerObserver, MayDestroyTheManager) {
  const auto destroy = [&](const Notification&) { manager.reset(); };
  sqm::NotificationCenter::Registration observer;
  if (GetParam().isFirst) observer = fakes.notificationCenter.addObserver(GetParam().notification, nullptr, destroy);
  restartWith({client, connection});
  if (!GetParam().isFirst) observer = fakes.notificationCenter.addObserver(GetParam().notification, nullptr, destroy);
  manager->uploadSQM();
  const bool isSuccess = GetParam().notification == TrelkSQMUploadSuccess;
  isSuccess ? fakes.http.complete(200) : fakes.http.fail();
  EXPECT_EQ(manager, nullptr);
  EXPECT_THAT(fakes.http.transactions(), IsEmpty());
  const bool hasContinued = isSuccess && !GetParam().isFirst;
  EXPECT_EQ(savedRecords(fakes, client).empty(), hasContinued);
  EXPECT_EQ(fakes.http.requests().size(), hasContinued ? 2U : 1U);
}

TEST_F(ManagerUpload, ObserverMayStartTheNextUpload) {
  restartWith({client});
  const auto again = fakes.notificationCenter.addObserver(TrelkSQMUploadFailure, nullptr,
                                                          [&](const Notification&) { manager->uploadSQM(); });
  manager->uploadSQM();
  fakes.http.fail();
  EXPECT_THAT(bodies(), ElementsAre(bodyOf(client), bodyOf(client)));
  fakes.http.complete(200);
  EXPECT_THAT(heldTypes(), IsEmpty());
}

TEST_F(ManagerUpload, ManagerMayBeDestroyedWhileAnUploadRuns) {
  restartWith({client});
  manager->uploadSQM();
  const void* transaction = fakes.http.transactions().back();
  manager.reset();
  EXPECT_THAT(fakes.http.transactions(), IsEmpty());
  fakes.notificationCenter.postNotificationName(sqm::TrelkHttpTransactionCompletedNotification, transaction);
  EXPECT_THAT(savedRecords(fakes, client), ElementsAre("<r0/>"));
}

}  // namespace
