// The option `accept` of the standard host, with the library's uploaders and a server on loopback.

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/NotificationCenter.h"
#include "sqm/common/PropertyList.h"
#include "sqm/delivery/RefusedBodies.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/system/RunLoop.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/sessionfiles/SQMUploader.h"
#include "sqm/upload/SQMUploadNotifications.h"

#include "tests/platform/http/HttpFixture.h"
#include "tests/platform/http/LoopbackServer.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/Patience.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace sqm::tests;
using sqm::delivery::Accept;
using sqm::delivery::Outcome;
using sqm::platform::StandardHost;
using ::testing::ElementsAre;
using Then = Answer::Then;
namespace fs = std::filesystem;

constexpr const char* kSqmFolder = "Library/Application Support/Trelk/Trelk Quenfa/SQM";
constexpr const char* kRefused = "Library/Application Support/Trelk/Trelk Quenfa/SQM/Refused";

StandardHost::Options optionsFor(const TemporaryFolder& home) {
  forgetProxies();
  StandardHost::Options options;
  options.homeDirectory = home.path();
  options.resourceDirectory = home.path();
  options.accept = Accept::only2xx;
  return options;
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  std::error_code missing;
  for (const auto& entry : fs::directory_iterator(folder, missing)) names.push_back(entry.path().filename());
  std::ranges::sort(names);
  return names;
}

/// A manager with a client and a connection record, and the notifications of its uploads.
class Delivery : public ::testing::Test {
 protected:
  void start(StandardHost::Options options) {
    options.onDelivery = [this](const sqm::delivery::Delivery& each) {
      outcomes.push_back(each.outcome);
      reasons.emplace_back(each.reason);
    };
    host = std::make_unique<StandardHost>(options);
    ASSERT_TRUE(host->makeFolders());
    for (const auto name : {sqm::TrelkSQMUploadSuccess, sqm::TrelkSQMUploadFailure, sqm::TrelkSQMUploadComplete,
                            sqm::TrelkSQMUploadError}) {
      registrations_.push_back(host->notificationCenter->addObserver(
          name, nullptr,
          [this](const sqm::Notification& notification) { notifications.emplace_back(notification.name); }));
    }
  }

  /// Uploads a client and a connection record. Returns the number of each that are left.
  std::pair<std::size_t, std::size_t> upload(const LoopbackServer& server) {
    sqm::SQMManager manager(*host);
    sqm::SQMSessionParams params;
    params.setStringValue("now", 6);
    manager.sqmCreateClientRecord(&params);
    manager.setDeviceType(1);
    manager.sqmCreateStartRecord(&params);
    manager.SetSQMClientURL(server.url("/client"));
    manager.SetSQMConnectionURL(server.url("/connection"));
    manager.uploadSQM();
    EXPECT_TRUE(host->runUntilIdle(kPatience));
    manager.saveToDisk();
    return {stored("SQMClient"), stored("SQMConnection")};
  }

  std::size_t stored(const std::string& list) const {
    return host->propertyLists->arrayWithContentsOfFile(home / kSqmFolder + "/" + list + ".plist")->size();
  }

  TemporaryFolder home;
  std::unique_ptr<StandardHost> host;
  std::vector<std::string> notifications;
  std::vector<Outcome> outcomes;
  std::vector<std::string> reasons;

 private:
  std::vector<sqm::NotificationCenter::Registration> registrations_;
};

TEST_F(Delivery, AnAnswerThatAsksForARetryKeepsTheRecordsAndEndsTheSequence) {
  start(optionsFor(home));
  const LoopbackServer server(response("503 Service Unavailable"));
  EXPECT_EQ(upload(server), (std::pair<std::size_t, std::size_t>(1, 1)));
  EXPECT_THAT(notifications, ElementsAre("TrelkSQMUploadFailure"));
  EXPECT_EQ(server.requests().size(), 1U);
  EXPECT_TRUE(namesIn(home / kRefused).empty());
}

TEST_F(Delivery, ARefusedDocumentIsMovedAndTheSequenceGoesOn) {
  start(optionsFor(home));
  const LoopbackServer server({response("404 Not Found"), {"HTTP/1.1 204 No Content\r\n\r\n"}});
  EXPECT_EQ(upload(server), (std::pair<std::size_t, std::size_t>(0, 0)));
  EXPECT_THAT(notifications, ElementsAre("TrelkSQMUploadSuccess", "TrelkSQMUploadSuccess"));
  EXPECT_THAT(outcomes, ElementsAre(Outcome::refused, Outcome::delivered));

  ASSERT_THAT(namesIn(home / kRefused), ElementsAre("0000000001.refused"));
  const std::string file = home / kRefused + "/0000000001.refused";
  EXPECT_EQ(permissionsOf(home / kRefused), fs::perms::owner_all);
  EXPECT_EQ(permissionsOf(file), fs::perms::owner_read | fs::perms::owner_write);
  const std::string text = contentOf(file);
  const auto kept = sqm::delivery::refusedBodyOf(text);
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->body, server.requests().at(0).body);
  EXPECT_EQ(kept->address, server.url("/client"));
  EXPECT_EQ(kept->status, 404);
}

TEST_F(Delivery, ARefusedDocumentThatCannotBeKeptStaysStored) {
  start(optionsFor(home));
  putContent(home / kRefused, "a file where the folder should be");
  const LoopbackServer server(response("404 Not Found"));
  EXPECT_EQ(upload(server), (std::pair<std::size_t, std::size_t>(1, 1)));
  EXPECT_THAT(notifications, ElementsAre("TrelkSQMUploadFailure"));
  EXPECT_EQ(contentOf(home / kRefused), "a file where the folder should be");
}

TEST_F(Delivery, WithoutTheOptionEveryStatusDelivers) {
  StandardHost::Options options = optionsFor(home);
  options.accept = Accept::anyStatus;
  start(options);
  const LoopbackServer server(response("503 Service Unavailable"));
  EXPECT_EQ(upload(server), (std::pair<std::size_t, std::size_t>(0, 0)));
  EXPECT_THAT(outcomes, ElementsAre(Outcome::delivered, Outcome::delivered));
  EXPECT_TRUE(namesIn(home / kRefused).empty());
}

TEST_F(Delivery, APortalThatAnswersForTheServerTakesNoRecords) {
  StandardHost::Options options = optionsFor(home);
  options.proof.header = "x-collector";
  start(options);
  const LoopbackServer portal({response("200 OK", "<html>log in</html>"),
                               {"HTTP/1.1 302 Found\r\nLocation: /login\r\nContent-Length: 0\r\n\r\n"}});
  EXPECT_EQ(upload(portal), (std::pair<std::size_t, std::size_t>(1, 1)));
  EXPECT_EQ(upload(portal), (std::pair<std::size_t, std::size_t>(2, 2)));
  EXPECT_THAT(reasons, ::testing::Each("the response lacks the proof that it is the server's"));

  const LoopbackServer server(Answer{"HTTP/1.1 200 OK\r\nX-Collector: 7\r\nContent-Length: 0\r\n\r\n"});
  EXPECT_EQ(upload(server), (std::pair<std::size_t, std::size_t>(0, 0)));
}

TEST_F(Delivery, ASessionFolderIsEmptiedByAny2xx) {
  start(optionsFor(home));
  const LoopbackServer server({response("429 Too Many Requests"), response("202 Accepted")});
  putContent(home / "a.sqm", "a session");
  auto uploader = sqm::SQMUploader::create(*host);
  uploader->setSQMDirPath(home.path());
  uploader->setSQMUploadUrl(server.url());
  uploader->startSend();
  EXPECT_TRUE(host->runUntilIdle(kPatience));
  EXPECT_TRUE(fs::exists(home / "a.sqm"));
  uploader->startSend();
  EXPECT_TRUE(host->runUntilIdle(kPatience));
  EXPECT_FALSE(fs::exists(home / "a.sqm"));
  EXPECT_THAT(notifications, ElementsAre("TrelkSQMUploadError", "TrelkSQMUploadComplete"));
}

TEST_F(Delivery, AClientThatIsDestroyedWhileARequestRunsReportsNothing) {
  start(optionsFor(home));
  const LoopbackServer silent(Answer{});
  auto transaction = host->httpTransactions->makeTransaction();
  transaction->sendHttpRequest(silent.url(), sqm::kHttpMethodPost, "body");
  ASSERT_TRUE(silent.waitForRequests(1));
  transaction.reset();
  EXPECT_EQ(host->httpTransactions->requestsUnderWay(), 0U);
  EXPECT_TRUE(host->runUntilIdle(kPatience));
  EXPECT_TRUE(outcomes.empty());
}

TEST_F(Delivery, AScheduleUploadsAgainAfterAFailure) {
  StandardHost::Options options = optionsFor(home);
  options.schedule = {.smallestPause = std::chrono::seconds(1), .firstBackOff = std::chrono::seconds(0)};
  start(options);
  const LoopbackServer server({response("503 Service Unavailable"), response("200 OK")});
  sqm::SQMManager manager(*host);
  manager.setURL(sqm::RecordType::connection, server.url());
  sqm::delivery::UploadSchedule& schedule = *host->schedule();
  schedule.addTarget({[&] { manager.uploadSQM(); }});
  schedule.start();
  EXPECT_TRUE(host->runLoop().runUntil([&] { return schedule.uploads() == 2 && !schedule.isUploading(); }, kPatience));
  EXPECT_THAT(outcomes, ElementsAre(Outcome::retry, Outcome::delivered));
  EXPECT_TRUE(host->runUntilIdle(kPatience)) << "the next upload, in half an hour, is no reason to wait";
  const std::string file = home / "Library/Application Support/Trelk/Trelk Quenfa/UploadSchedule.txt";
  EXPECT_THAT(contentOf(file), ::testing::EndsWith("failures: 0\n"));
  EXPECT_EQ(permissionsOf(file), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(Delivery, WithoutTheOptionThereIsNoSchedule) {
  start(optionsFor(home));
  EXPECT_EQ(host->schedule(), nullptr);
}

/// Sends a request of the queue in this process. Returns the number that stay.
std::size_t queueAfter(const std::vector<Answer>& answers) {
  const TemporaryFolder home;
  const LoopbackServer server(answers);
  StandardHost host(optionsFor(home));
  EXPECT_TRUE(host.makeFolders());
  sqm::Host::install(host);
  sqm::QFRecordUploader& uploader = *sqm::QFRecordUploader::sharedQFRecordUploader();
  uploader.quequeRecord("one", server.url());
  uploader.quequeRecord("two", server.url());
  uploader.uploadRecord();
  EXPECT_TRUE(host.runUntilIdle(kPatience));
  return uploader.recordQueue()->size();
}

TEST_IN_FRESH_PROCESS(DeliveryOfTheQueue, A204RemovesTheRequest) {
  EXPECT_EQ(queueAfter({{"HTTP/1.1 204 No Content\r\n\r\n"}}), 0U);
}

TEST_IN_FRESH_PROCESS(DeliveryOfTheQueue, ARefusedRequestDoesNotBlockTheNext) {
  EXPECT_EQ(queueAfter({response("400 Bad Request"), response("200 OK")}), 0U);
}

TEST_IN_FRESH_PROCESS(DeliveryOfTheQueue, ARetryStopsTheQueueAtItsRequest) {
  EXPECT_EQ(queueAfter({response("200 OK"), response("500 Oops")}), 1U);
}

}  // namespace
