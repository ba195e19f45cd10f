// The option `lockWithin` of the standard host: one host at a time uses the files.

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/NotificationCenter.h"
#include "sqm/common/PropertyList.h"
#include "sqm/common/QFSerializer.h"
#include "sqm/common/TrelkConfiguration.h"
#include "sqm/delivery/RefusedBodies.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/files/PreferencesFile.h"
#include "sqm/platform/system/RunLoop.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/sessionfiles/SQMRecord.h"
#include "sqm/sessionfiles/SQMStore.h"
#include "sqm/testing/ScriptedHttp.h"

#include "tests/support/FreshProcess.h"
#include "tests/support/OtherProcess.h"
#include "tests/support/Paths.h"
#include "tests/support/Patience.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

namespace fs = std::filesystem;
using delivery::Recording;
using State = FolderLock::State;
using std::chrono::milliseconds;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const std::string kApplicationFolder = "Library/Application Support/Trelk/Trelk Quenfa";
const std::string kSqmFolder = kApplicationFolder + "/SQM";

/// A host with the lock, and what it reports. Its requests end as the test decides.
class LockedHost {
 public:
  explicit LockedHost(const TemporaryFolder& home, Recording recording = Recording::asRequired,
                      milliseconds patience = milliseconds(0)) {
    StandardHost::Options options;
    options.homeDirectory = home.path();
    options.resourceDirectory = paths::sources() + "/examples";
    options.recording = recording;
    options.accept = delivery::Accept::only2xx;
    options.lockWithin = patience;
    options.counting = StandardHost::Counting::kept;
    options.consent = delivery::Consent::granted;
    options.onFileProblem = [this](const FileProblem& problem) { problems.push_back(textOf(problem)); };
    options.schedule = delivery::ScheduleOptions{};
    options.services.notificationCenter = &notifications;
    options.services.httpTransactions = &http;
    host = std::make_unique<StandardHost>(options);
    EXPECT_TRUE(host->makeFolders());
  }

  std::vector<std::string> problems;
  NotificationCenter notifications;
  testing::ScriptedHttp http{notifications};
  std::unique_ptr<StandardHost> host;
};

void record(SQMManager& manager, const std::string& time) {
  SQMSessionParams params;
  params.setStringValue(time, 6);
  manager.setDeviceType(1);
  manager.sqmCreateStartRecord(&params);
}

/// All files below the application's folder.
std::map<std::string, std::string> filesOf(const TemporaryFolder& home) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(home / kApplicationFolder)) {
    files[entry.path()] = entry.is_regular_file() ? contentOf(entry.path()) : "folder";
  }
  return files;
}

TEST(OneHost, HasNoLockUnlessItIsAskedFor) {
  const TemporaryFolder home;
  StandardHost::Options options;
  options.homeDirectory = home.path();
  StandardHost host(options);
  EXPECT_TRUE(host.makeFolders());
  EXPECT_EQ(host.folderLock(), std::nullopt);
  EXPECT_FALSE(fs::exists(home / kSqmFolder + "/SQM.lock"));
}

TEST(OneHost, LocksTheFolderThatItMakes) {
  const TemporaryFolder home;
  const LockedHost first(home);
  EXPECT_EQ(first.host->folderLock(), State::owned);
  EXPECT_THAT(first.problems, IsEmpty());
  const LockedHost second(home);
  EXPECT_EQ(second.host->folderLock(), State::elsewhere);
  const std::string told = "cannot write " + home / kSqmFolder + "/SQM.lock: it is locked by this process";
  EXPECT_THAT(second.problems, ElementsAre(told));
  EXPECT_THAT(contentOf(home / "Library/Logs/Trelk/Trelk Quenfa/SQMFiles.log"), HasSubstr(told));
}

TEST(OneHost, GivesTheLockToTheNext) {
  const TemporaryFolder home;
  { const LockedHost first(home); }
  EXPECT_EQ(LockedHost(home).host->folderLock(), State::owned);
}

TEST(OneHost, WaitsForTheLockOfAnotherProcess) {
  const TemporaryFolder home;
  OtherProcess owner([&] {
    static std::unique_ptr<LockedHost> kept;  // until the process is killed
    kept = std::make_unique<LockedHost>(home);
    if (kept->host->folderLock() != State::owned) ::_exit(1);
  });
  EXPECT_EQ(LockedHost(home).host->folderLock(), State::elsewhere);
  std::thread killer([&] { owner.kill(); });
  const LockedHost next(home, Recording::asRequired, kPatience);
  killer.join();
  EXPECT_EQ(next.host->folderLock(), State::owned);
}

// All that a host writes but the queue is asked of the second one.
TEST(OneHost, ChangesNothingOnDiskWithoutTheLock) {
  for (const Recording recording : {Recording::asRequired, Recording::survivesCrash, Recording::survivesPowerLoss}) {
    const TemporaryFolder home;
    const OtherProcess owner([&] {
      static std::unique_ptr<LockedHost> kept;  // until the process is killed
      kept = std::make_unique<LockedHost>(home, recording);
      LockedHost& first = *kept;
      if (first.host->folderLock() != State::owned) ::_exit(1);
      SQMManager manager(*first.host);
      record(manager, "2026-11-21T10:00:00Z");
      first.host->preferences().setClientTimeStamp("\"2026-11-21\"");
      static_cast<void>(first.host->serializer->serializeObject(
          {{"http://collector.invalid/", "body"}},
          first.host->configuration->applicationQuenfaFolderPath() + "/QFRecordUploader.plist"));
      putContent(home / kSqmFolder + "/1.sqm", "a session");
      delivery::RefusedBodies(*first.host).keep("http://collector.invalid/", 404, "refused");
    });
    const auto before = filesOf(home);
    ASSERT_GE(before.size(), 10U);

    LockedHost second(home, recording);
    ASSERT_EQ(second.host->folderLock(), State::elsewhere);
    {
      SQMManager manager(*second.host);
      record(manager, "2026-11-21T11:00:00Z");
      manager.saveToDisk();
      second.host->schedule()->addTarget(manager.uploadTarget());
      second.host->schedule()->start();  // saves its times after the upload
      second.host->runLoop().poll();
      ASSERT_EQ(second.http.requests().size(), 1U);
      second.http.complete(404);  // is refused, and is to be kept
      EXPECT_TRUE(second.host->runUntilIdle(kPatience));
      EXPECT_FALSE(second.host->schedule()->isUploading());
    }
    EXPECT_FALSE(second.host->preferences().setClientTimeStamp("\"2026-11-22\""));
    EXPECT_EQ(second.host->preferences().clientTimeStamp(), "\"2026-11-22\"") << "in memory";
    SQMRecord session(*second.host);
    session.setSQMDir(home / kSqmFolder);
    EXPECT_FALSE(session.saveRec());
    SQMStore sessions(*second.host);
    sessions.setSQMDirPath(home / kSqmFolder);
    EXPECT_EQ(sessions.getDataFromSQMRec(), "");
    sessions.deleteSQMRecord();
    EXPECT_EQ(second.host->files->open(home / kSqmFolder), nullptr);
    EXPECT_TRUE(second.host->files->remove(home / kSqmFolder + "/1.sqm"));

    EXPECT_TRUE(second.host->consent()->set(delivery::Consent::revoked));
    EXPECT_EQ(filesOf(home), before);
    EXPECT_THAT(second.problems, ::testing::Contains(HasSubstr("SQMConnection.plist: the folder is not locked")));
  }
}

TEST_IN_FRESH_PROCESS(OneHost, SendsWhatItHasRecordedAndNothingOfTheFilesWithoutTheLock) {
  const TemporaryFolder home;
  const LockedHost first(home);
  SQMManager ofFirst(*first.host);
  record(ofFirst, "2026-11-21T10:00:00Z");
  ofFirst.saveToDisk();
  first.host->preferences().setClientTimeStamp("\"2026-11-21\"");
  ASSERT_TRUE(first.host->serializer->serializeObject(
      {{"http://collector.invalid/", "body"}},
      first.host->configuration->applicationQuenfaFolderPath() + "/QFRecordUploader.plist"));

  LockedHost second(home);
  SQMManager ofSecond(*second.host);
  record(ofSecond, "2026-11-21T11:00:00Z");
  ofSecond.uploadSQM();
  ASSERT_EQ(second.http.requests().size(), 1U);
  const std::string& body = second.http.requests()[0].data;
  EXPECT_THAT(body, HasSubstr("2026-11-21T11:00:00Z"));
  EXPECT_THAT(body, HasSubstr("timestamp=\"2026-11-21\"")) << "preferences and field names are read";
  EXPECT_EQ(body.find("T10:00:00Z"), std::string::npos);
  second.http.complete(200);
  EXPECT_EQ(ofSecond.uploadTarget().waiting(), 0U);

  const auto before = filesOf(home);
  Host::install(*second.host);
  QFRecordUploader& queue = *QFRecordUploader::sharedQFRecordUploader();
  EXPECT_EQ(queue.uploadTarget().waiting(), 0U);
  EXPECT_TRUE(queue.quequeRecord("another body", "http://collector.invalid/"));
  EXPECT_EQ(queue.uploadTarget().waiting(), 1U) << "in memory";
  EXPECT_EQ(filesOf(home), before);
  EXPECT_EQ(first.host->propertyLists->arrayWithContentsOfFile(home / kSqmFolder + "/SQMConnection.plist")->size(), 1U);
}

TEST(OneHost, HeedsTheChoiceOfTheUserWithoutTheLock) {
  const TemporaryFolder home;
  const LockedHost first(home);
  ASSERT_FALSE(first.host->consent()->set(delivery::Consent::revoked));
  LockedHost second(home);
  EXPECT_EQ(second.host->consent()->value(), delivery::Consent::revoked);
  SQMManager manager(*second.host);
  record(manager, "2026-11-21T10:00:00Z");
  EXPECT_EQ(manager.uploadTarget().waiting(), 0U);
}

TEST(OneHost, KeepsWhatIsRecordedDuringAPostWithAJournalAndWithoutTheLock) {
  const TemporaryFolder home;
  const LockedHost first(home, Recording::survivesCrash);
  LockedHost second(home, Recording::survivesCrash);
  SQMManager manager(*second.host);
  record(manager, "2026-11-21T10:00:00Z");
  manager.uploadSQM();
  record(manager, "2026-11-21T11:00:00Z");
  second.http.complete(200);
  EXPECT_EQ(manager.uploadTarget().waiting(), 1U);
}

TEST(OneHost, WorksInMemoryWhereTheLockFails) {
  const TemporaryFolder home;
  fs::create_directories(home / kSqmFolder + "/SQM.lock");
  const LockedHost only(home);
  EXPECT_EQ(only.host->folderLock(), State::failed);
  EXPECT_THAT(only.problems, ElementsAre(HasSubstr("SQM.lock: Is a directory")));
  SQMManager manager(*only.host);
  record(manager, "2026-11-21T10:00:00Z");
  manager.saveToDisk();
  EXPECT_EQ(manager.uploadTarget().waiting(), 1U);
  EXPECT_EQ(filesOf(home).size(), 2U) << "the two folders";
}

}  // namespace
}  // namespace sqm::platform
