#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/manager/ManagerUploadFixture.h"
#include "tests/support/CaseName.h"
#include "tests/support/ObservedLogs.h"

using sqm::RecordType;
using sqm::UploadState;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// --- The sequence -------------------------------------------------------------------------------------------------

using enum RecordType;

struct SequenceCase {
  const char* name;
  std::vector<RecordType> held;
  std::vector<RecordType> posted;
  std::vector<RecordType> left;
  UploadState endsIn;
};

const SequenceCase kSequences[] = {
    {"Nothing", {}, {connection}, {}, UploadState::application},
    {"EveryType",
     {client, connection, device, application, userAcceptance},
     {client, connection, device, application, userAcceptance},
     {},
     UploadState::userAcceptance},
    {"ClientAlone", {client}, {client, connection}, {}, UploadState::application},
    {"ConnectionAlone", {connection}, {connection}, {}, UploadState::application},
    {"DeviceAlone", {device}, {connection, device}, {}, UploadState::userAcceptance},
    {"ApplicationAlone", {application}, {connection, application}, {}, UploadState::userAcceptance},
    {"UserAcceptanceWithoutDeviceAndApplicationWaits",
     {connection, userAcceptance},
     {connection},
     {userAcceptance},
     UploadState::application},
    {"UserAcceptanceAfterASkippedApplication",
     {device, userAcceptance},
     {connection, device, userAcceptance},
     {},
     UploadState::userAcceptance},
    {"UserAcceptanceAfterASkippedDevice",
     {application, userAcceptance},
     {connection, application, userAcceptance},
     {},
     UploadState::userAcceptance},
};

class UploadOf : public ManagerUpload, public ::testing::WithParamInterface<SequenceCase> {
 protected:
  static bool holds(RecordType type) {
    const std::vector<RecordType>& held = GetParam().held;
    return std::find(held.begin(), held.end(), type) != held.end();
  }
};

INSTANTIATE_TEST_SUITE_P(Holdings, UploadOf, ::testing::ValuesIn(kSequences), CaseName());

TEST_P(UploadOf, PostsInTheFixedOrderAndDeletesWhatArrived) {
  restartWith(GetParam().held);
  std::vector<std::string> expected;
  for (const RecordType type : GetParam().posted) {
    expected.push_back(holds(type) ? bodyOf(type) : kEmptyConnectionBody);
  }
  manager->uploadSQM();
  completeAll();
  EXPECT_EQ(bodies(), expected);
  EXPECT_EQ(heldTypes(), GetParam().left);
  EXPECT_EQ(manager->uploadState(), GetParam().endsIn);
}

TEST_P(UploadOf, IsPlanned) { EXPECT_EQ(sqm::uploadPlan(holds), GetParam().posted); }

TEST_F(ManagerUpload, PlanIsWhatIsPostedForEveryHolding) {
  for (unsigned holding = 0; holding < 1U << sqm::kRecordTypes.size(); ++holding) {
    const auto holds = [&](RecordType type) { return ((holding >> static_cast<unsigned>(type)) & 1U) != 0; };
    std::vector<RecordType> held;
    std::copy_if(sqm::kRecordTypes.begin(), sqm::kRecordTypes.end(), std::back_inserter(held), holds);
    restartWith(held);
    const std::size_t before = fakes.http.requests().size();
    std::vector<RecordType> posted;
    manager->uploadSQM();
    while (fakes.http.requests().size() > before + posted.size()) {
      posted.push_back(sqm::typeInFlight(manager->uploadState()).value());
      fakes.http.complete(200);
    }
    EXPECT_EQ(posted, sqm::uploadPlan(holds)) << holding;
  }
}

TEST_F(ManagerUpload, EveryTypeGoesToItsOwnAddress) {
  restartWith({client, connection, device, application, userAcceptance});
  manager->uploadSQM();
  completeAll();
  for (const auto& request : fakes.http.requests()) EXPECT_EQ(request.method, 1);
  EXPECT_THAT(urls(), ElementsAre("http://sqm.test/client", "http://sqm.test/connection", "http://sqm.test/device",
                                  "http://sqm.test/application", "http://sqm.test/useracceptance"));
}

TEST_F(ManagerUpload, AddressesMayBeSetByType) {
  restartWith({client, connection, device, application, userAcceptance});
  for (const RecordType type : sqm::kRecordTypes) manager->setURL(type, "to the " + std::string(sqm::rowOf(type).name));
  manager->uploadSQM();
  completeAll();
  EXPECT_THAT(urls(), ElementsAre("to the client", "to the connection", "to the device", "to the application",
                                  "to the user-acceptance"));
}

TEST_F(ManagerUpload, RecordsAreDeletedOnceTheirPostHasSucceededAndNotBefore) {
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
  manager.reset();  // before the factory of its log
}

TEST_F(ManagerUpload, FilesFollowAtTheNextSave) {
  restartWith({client});
  manager->uploadSQM();
  fakes.http.complete(200);
  EXPECT_THAT(savedRecords(fakes, client), ElementsAre("<r0/>"));
  manager->saveToDisk();
  EXPECT_THAT(savedRecords(fakes, client), IsEmpty());
}

TEST_F(ManagerUpload, AllRecordsOfATypeAreSentInOneDocument) {
  manager->sqmCreateClientRecord(nullptr);
  const auto params = paramsWith({{6, "id"}});
  manager->sqmCreateClientRecord(&params);
  const auto records = stored(client);
  manager->uploadSQM();
  EXPECT_THAT(bodies(), ElementsAre(listDocument("clientList", records[0] + records[1])));
}

TEST_F(ManagerUpload, RecordsOfEmptyTextAreSent) {
  manager->sqmCreateClientRecord(nullptr);
  manager->uploadSQM();
  EXPECT_THAT(bodies(), ElementsAre(listDocument("clientList", "")));
}

TEST_F(ManagerUpload, RecordsMadeWhileTheirDocumentIsInFlightAreDeletedWithIt) {
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

TEST_F(ManagerUpload, WaitingUserAcceptancesAreSentWithALaterUpload) {
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

}  // namespace
