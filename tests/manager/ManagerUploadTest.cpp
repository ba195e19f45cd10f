#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/upload/SQMUploadNotifications.h"

#include "tests/support/CaseName.h"
#include "tests/support/ManagerTest.h"
#include "tests/support/ObservedLogs.h"

using sqm::Notification;
using sqm::PropertyList;
using sqm::RecordType;
using sqm::SQMManager;
using sqm::TrelkSQMUploadFailure;
using sqm::TrelkSQMUploadSuccess;
using sqm::UploadState;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr RecordType kEveryType[] = {RecordType::client, RecordType::connection, RecordType::device,
                                     RecordType::application, RecordType::userAcceptance};

constexpr std::string_view kElements[] = {"clientList", "connectionList", "deviceList", "sqmList",
                                          "userAcceptanceList"};

/// The body that carries one record of a type, as the fixture stores it.
std::string bodyOf(RecordType type) {
  const auto number = static_cast<std::size_t>(type);
  return listDocument(kElements[number], "<r" + std::to_string(number) + "/>");
}

const std::string kEmptyConnectionBody = listDocument("connectionList", "");

class ManagerUpload : public ManagerTest {
 protected:
  ManagerUpload() { setAddresses(); }

  void setAddresses() {
    manager->SetSQMClientURL("http://sqm.test/client");
    manager->SetSQMConnectionURL("http://sqm.test/connection");
    manager->SetSQMDeviceURL("http://sqm.test/device");
    manager->SetSQMApplicationURL("http://sqm.test/application");
    manager->SetSQMUserAcceptanceURL("http://sqm.test/useracceptance");
  }

  /// A manager that holds one record of each of these types.
  void restartWith(const std::vector<RecordType>& types) {
    manager.reset();
    for (const RecordType type : kEveryType) fakes.propertyLists.put(storeFile(type), PropertyList::Array{});
    for (const RecordType type : types) {
      fakes.propertyLists.put(storeFile(type),
                              PropertyList::Array{"<r" + std::to_string(static_cast<std::size_t>(type)) + "/>"});
    }
    restart();
    setAddresses();
  }

  /// What has been posted so far: the bodies, in order.
  std::vector<std::string> bodies() const {
    std::vector<std::string> all;
    for (const auto& request : fakes.http.requests()) all.push_back(request.data);
    return all;
  }

  /// The types of which there are records.
  std::vector<RecordType> heldTypes() {
    std::vector<RecordType> types;
    for (const RecordType type : kEveryType) {
      if (!stored(type).empty()) types.push_back(type);
    }
    return types;
  }

  /// Lets every post succeed until none follows.
  void completeAll() {
    for (std::size_t completed = 0; completed < fakes.http.requests().size(); ++completed) fakes.http.complete(200);
  }
};

// --- The sequence -------------------------------------------------------------------------------------------------

struct SequenceCase {
  const char* name;
  std::vector<RecordType> held;
  std::vector<RecordType> posted;  // beside the connection document, which is always posted
  std::vector<RecordType> left;
  UploadState endsIn;
};

class UploadOf : public ManagerUpload, public ::testing::WithParamInterface<SequenceCase> {};

using enum RecordType;

INSTANTIATE_TEST_SUITE_P(
    Holdings, UploadOf,
    ::testing::Values(SequenceCase{"Nothing", {}, {}, {}, UploadState::application},
                      SequenceCase{"EveryType",
                                   {client, connection, device, application, userAcceptance},
                                   {client, device, application, userAcceptance},
                                   {},
                                   UploadState::userAcceptance},
                      SequenceCase{"ClientAlone", {client}, {client}, {}, UploadState::application},
                      SequenceCase{"ConnectionAlone", {connection}, {}, {}, UploadState::application},
                      SequenceCase{"DeviceAlone", {device}, {device}, {}, UploadState::userAcceptance},
                      SequenceCase{"ApplicationAlone", {application}, {application}, {}, UploadState::userAcceptance},
                      SequenceCase{"UserAcceptanceWithoutDeviceAndApplicationWaits",
                                   {connection, userAcceptance},
                                   {},
                                   {userAcceptance},
                                   UploadState::application},
                      SequenceCase{"UserAcceptanceAfterASkippedApplication",
                                   {device, userAcceptance},
                                   {device, userAcceptance},
                                   {},
                                   UploadState::userAcceptance},
                      SequenceCase{"UserAcceptanceAfterASkippedDevice",
                                   {application, userAcceptance},
                                   {application, userAcceptance},
                                   {},
                                   UploadState::userAcceptance}),
    CaseName());

TEST_P(UploadOf, PostsInTheFixedOrderAndDeletesWhatArrived) {
  restartWith(GetParam().held);
  std::vector<std::string> expected;
  for (const RecordType type : GetParam().posted) expected.push_back(bodyOf(type));
  const bool startsWithClient = !GetParam().posted.empty() && GetParam().posted.front() == client;
  const bool hasConnections = !GetParam().held.empty() && (GetParam().held.front() == connection ||
                                                           (startsWithClient && GetParam().held.size() > 1));
  expected.insert(expected.begin() + (startsWithClient ? 1 : 0),
                  hasConnections ? bodyOf(connection) : kEmptyConnectionBody);
  manager->uploadSQM();
  completeAll();
  EXPECT_EQ(bodies(), expected);
  EXPECT_EQ(heldTypes(), GetParam().left);
  EXPECT_EQ(manager->uploadState(), GetParam().endsIn);
}

TEST_F(ManagerUpload, EveryTypeGoesToItsOwnAddress) {
  restartWith({client, connection, device, application, userAcceptance});
  manager->uploadSQM();
  completeAll();
  std::vector<std::optional<std::string>> urls;
  for (const auto& request : fakes.http.requests()) {
    urls.push_back(request.url);
    EXPECT_EQ(request.method, 1);
  }
  EXPECT_THAT(urls, ElementsAre("http://sqm.test/client", "http://sqm.test/connection", "http://sqm.test/device",
                                "http://sqm.test/application", "http://sqm.test/useracceptance"));
}

TEST_F(ManagerUpload, RecordsGoOnceTheirPostHasSucceededAndNotBefore) {
  restartWith({client, connection, device, application, userAcceptance});
  EXPECT_EQ(manager->uploadState(), UploadState::idle);
  manager->uploadSQM();
  EXPECT_EQ(manager->uploadState(), UploadState::client);
  EXPECT_THAT(heldTypes(), ElementsAre(client, connection, device, application, userAcceptance));
  fakes.http.complete(200);
  EXPECT_EQ(manager->uploadState(), UploadState::connection);
  EXPECT_THAT(heldTypes(), ElementsAre(connection, device, application, userAcceptance));
  fakes.http.complete(200);
  EXPECT_EQ(manager->uploadState(), UploadState::device);
  EXPECT_THAT(heldTypes(), ElementsAre(device, application, userAcceptance));
  fakes.http.complete(200);
  EXPECT_EQ(manager->uploadState(), UploadState::application);
  EXPECT_THAT(heldTypes(), ElementsAre(application, userAcceptance));
  fakes.http.complete(200);
  EXPECT_EQ(manager->uploadState(), UploadState::userAcceptance);
  EXPECT_THAT(heldTypes(), ElementsAre(userAcceptance));
  fakes.http.complete(200);
  EXPECT_EQ(manager->uploadState(), UploadState::userAcceptance);
  EXPECT_THAT(heldTypes(), IsEmpty());
}

TEST_F(ManagerUpload, StateIsThatOfTheDocumentBeforeItIsSent) {
  ObservedLogs logs;
  fakes.host.logFiles = &logs;
  restartWith({client, connection, device, application, userAcceptance});
  std::vector<UploadState> statesWhenSent;
  logs.onLine = [&](const std::string& /*file*/, const std::string& text) {
    if (text.starts_with("startSend*** SQM Data:")) statesWhenSent.push_back(manager->uploadState());
  };
  manager->uploadSQM();
  completeAll();
  EXPECT_THAT(statesWhenSent, ElementsAre(UploadState::client, UploadState::connection, UploadState::device,
                                          UploadState::application, UploadState::userAcceptance));
  manager.reset();  // before its log's maker
}

TEST_F(ManagerUpload, FilesFollowAtTheNextSave) {
  restartWith({client});
  manager->uploadSQM();
  fakes.http.complete(200);
  EXPECT_THAT(savedRecords(fakes, client), ElementsAre("<r0/>"));
  manager->saveToDisk();
  EXPECT_THAT(savedRecords(fakes, client), IsEmpty());
}

TEST_F(ManagerUpload, AllRecordsOfATypeGoInOneDocument) {
  manager->sqmCreateClientRecord(nullptr);
  const auto params = paramsWith({{6, "id"}});
  manager->sqmCreateClientRecord(&params);
  const auto records = stored(client);
  manager->uploadSQM();
  EXPECT_THAT(bodies(), ElementsAre(listDocument("clientList", records[0] + records[1])));
}

TEST_F(ManagerUpload, RecordsOfEmptyTextMakeADocumentAllTheSame) {
  manager->sqmCreateClientRecord(nullptr);
  manager->uploadSQM();
  EXPECT_THAT(bodies(), ElementsAre(listDocument("clientList", "")));
}

TEST_F(ManagerUpload, RecordsMadeWhileTheirDocumentIsInFlightGoWithIt) {
  restartWith({client});
  manager->uploadSQM();
  manager->sqmCreateClientRecord(nullptr);
  fakes.http.complete(200);
  EXPECT_THAT(stored(client), IsEmpty());
}

TEST_F(ManagerUpload, SuccessAfterTheLastTypeOnlyDeletesAgain) {
  restartWith({application, userAcceptance});
  manager->uploadSQM();
  completeAll();
  ASSERT_EQ(manager->uploadState(), UploadState::userAcceptance);
  manager->sqmCreateClientRecord(nullptr);
  const auto params = everyParam();
  manager->sqmCreateUserAcceptanceRecord(&params);
  const std::size_t posted = fakes.http.requests().size();
  fakes.http.complete(200);
  EXPECT_THAT(heldTypes(), ElementsAre(client));
  EXPECT_EQ(fakes.http.requests().size(), posted);
  EXPECT_EQ(manager->uploadState(), UploadState::userAcceptance);
}

TEST_F(ManagerUpload, SuccessBeforeTheFirstUploadDoesNothing) {
  restartWith({client, connection, device, application, userAcceptance});
  fakes.http.complete(200);
  EXPECT_EQ(heldTypes().size(), 5U);
  EXPECT_THAT(bodies(), IsEmpty());
  EXPECT_EQ(manager->uploadState(), UploadState::idle);
}

TEST_F(ManagerUpload, ErrorStatusOfTheServerCountsAsArrived) {
  restartWith({client});
  manager->uploadSQM();
  fakes.http.complete(500);
  EXPECT_THAT(heldTypes(), IsEmpty());
  EXPECT_THAT(bodies(), ElementsAre(bodyOf(client), kEmptyConnectionBody));
}

TEST_F(ManagerUpload, SecondUploadBeginsWithTheClientWhateverTheState) {
  restartWith({client, connection, device});
  manager->uploadSQM();
  manager->uploadSQM();
  fakes.http.complete(200);
  manager->uploadSQM();
  fakes.http.complete(200);
  manager->uploadSQM();
  EXPECT_THAT(bodies(), ElementsAre(bodyOf(client), bodyOf(client), bodyOf(connection), bodyOf(connection),
                                    bodyOf(device), kEmptyConnectionBody));
}

TEST_F(ManagerUpload, WaitingUserAcceptancesGoWithALaterUpload) {
  restartWith({userAcceptance});
  manager->uploadSQM();
  completeAll();
  EXPECT_THAT(heldTypes(), ElementsAre(userAcceptance));
  const auto params = everyParam();
  manager->sqmCreateDeviceRecord(&params);
  manager->uploadSQM();
  for (int posts = 0; posts < 3; ++posts) fakes.http.complete(200);
  EXPECT_EQ(bodies().back(), bodyOf(userAcceptance));
  EXPECT_THAT(heldTypes(), IsEmpty());
}

// --- Failures, aborts, strangers ----------------------------------------------------------------------------------

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
    std::vector<RecordType> left;
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

TEST_P(FailedUpload, IsMadeGoodByTheNextUpload) {
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

TEST_F(ManagerUpload, NotificationsOfOthersAreNotHeard) {
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

TEST_F(ManagerUpload, TwoManagersDoNotHearEachOther) {
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
  std::vector<std::optional<std::string>> urls;
  for (const auto& request : fakes.http.requests()) urls.push_back(request.url);
  EXPECT_THAT(urls, ElementsAre("%@ is no address", std::nullopt, "", std::nullopt, std::nullopt));
}

TEST_F(ManagerUpload, AddressesAreAbsentAtFirst) {
  restart();
  manager->uploadSQM();
  ASSERT_EQ(fakes.http.requests().size(), 1U);
  EXPECT_EQ(fakes.http.requests()[0].url, std::nullopt);
}

// --- Hosts that give less, observers that do more -----------------------------------------------------------------

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
  EXPECT_THAT(log(), IsEmpty()) << "there is no agent to listen to";
}

TEST_F(ManagerUpload, WithoutItsOwnLogGoesOn) {
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
  bool isFirst;  // registered before the manager, and so called before it
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
  const bool hasTakenNote = isSuccess && !GetParam().isFirst;
  EXPECT_EQ(savedRecords(fakes, client).empty(), hasTakenNote);
  EXPECT_EQ(fakes.http.requests().size(), hasTakenNote ? 2U : 1U);
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

TEST_F(ManagerUpload, ManagerMayGoWhileAnUploadRuns) {
  restartWith({client});
  manager->uploadSQM();
  const void* transaction = fakes.http.transactions().back();
  manager.reset();
  EXPECT_THAT(fakes.http.transactions(), IsEmpty());
  fakes.notificationCenter.postNotificationName(sqm::TrelkHttpTransactionCompletedNotification, transaction);
  EXPECT_THAT(savedRecords(fakes, client), ElementsAre("<r0/>"));
}

}  // namespace
