#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/system/MainThreadAdapter.h"
#include "sqm/platform/system/RunLoop.h"

#include "tests/support/TemporaryFolder.h"

namespace sqm::platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* kSqmFolder = "Library/Application Support/Trelk/Trelk Quenfa/SQM";

StandardHost::Options optionsFor(const TemporaryFolder& home) {
  StandardHost::Options options;
  options.homeDirectory = home.path();
  options.resourceDirectory = home.path();
  return options;
}

ino_t fileNumberOf(const std::string& path) {
  struct ::stat status {};
  EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
  return status.st_ino;
}

/// Saves twice, and tells whether the second save put another file in the place of the first.
bool savesToANewFile(bool atomicSaves) {
  const TemporaryFolder home;
  StandardHost::Options options = optionsFor(home);
  options.atomicSaves = atomicSaves;
  StandardHost host(options);
  EXPECT_TRUE(host.makeFolders());
  SQMManager manager(host);
  const std::string list = home / kSqmFolder + "/SQMConnection.plist";
  manager.saveToDisk();
  const ino_t first = fileNumberOf(list);
  manager.saveToDisk();
  return fileNumberOf(list) != first;
}

TEST(StandardHost, MakesTheFoldersForItsUserAlone) {
  const TemporaryFolder home;
  StandardHost host(optionsFor(home));
  EXPECT_TRUE(host.makeFolders());
  EXPECT_TRUE(host.makeFolders()) << "they are there already";
  EXPECT_EQ(permissionsOf(home / kSqmFolder), fs::perms::owner_all);
}

TEST(StandardHost, SaysWhenItsFoldersCannotBeMade) {
  const TemporaryFolder home;
  putContent(home / "Library", "a file where the folder should be");
  StandardHost host(optionsFor(home));
  EXPECT_FALSE(host.makeFolders());
  EXPECT_EQ(contentOf(home / "Library"), "a file where the folder should be");
}

TEST(StandardHost, SavesInPlaceUnlessItIsAskedForAtomicSaves) {
  EXPECT_FALSE(savesToANewFile(/*atomicSaves=*/false));
  EXPECT_TRUE(savesToANewFile(/*atomicSaves=*/true));
}

TEST(StandardHost, KeepsRecordsFromOneManagerToTheNext) {
  const TemporaryFolder home;
  StandardHost host(optionsFor(home));
  ASSERT_TRUE(host.makeFolders());
  {
    SQMManager manager(host);
    manager.setDeviceType(1);
    SQMSessionParams params;
    params.setStringValue("now", 6);
    manager.sqmCreateStartRecord(&params);
  }
  EXPECT_NE(contentOf(home / kSqmFolder + "/SQMConnection.plist").find("(null)"), std::string::npos)
      << "a record without field names";
}

TEST(StandardHost, IsIdleAtOnceWhenNothingIsUnderWay) {
  const TemporaryFolder home;
  StandardHost host(optionsFor(home));
  EXPECT_TRUE(host.runUntilIdle(std::chrono::milliseconds(0)));
  EXPECT_TRUE(host.runUntilIdle(std::chrono::milliseconds::min()));
}

TEST(StandardHost, WaitsForAsLongAsItIsAsked) {
  const TemporaryFolder home;
  StandardHost host(optionsFor(home));
  const auto transaction = host.httpTransactions->makeTransaction();
  bool isTold = false;
  const auto told = host.notificationCenter->addObserver(TrelkHttpTransactionErrorNotification, transaction.get(),
                                                         [&](const Notification&) { isTold = true; });
  transaction->sendHttpRequest("http://127.0.0.1:1/", kHttpMethodPost, "nobody listens there");
  EXPECT_TRUE(host.runUntilIdle(std::chrono::milliseconds::max()));
  EXPECT_TRUE(isTold);
}

TEST(StandardHost, IsNotIdleWhileTasksWait) {
  const TemporaryFolder home;
  StandardHost host(optionsFor(home));
  bool isDone = false;
  host.runLoop().post([&] { host.runLoop().post([&] { isDone = true; }); });
  EXPECT_TRUE(host.runUntilIdle(std::chrono::minutes(1)));
  EXPECT_TRUE(isDone);
}

TEST(StandardHost, DoesNotWaitForTasksThatNeverEnd) {
  const TemporaryFolder home;
  StandardHost host(optionsFor(home));
  const std::function<void()> again = [&] { host.runLoop().post(again); };
  again();
  EXPECT_TRUE(host.runUntilIdle(std::chrono::milliseconds(0)));
}

TEST(StandardHost, TellsOutcomesThroughTheEventLoopItIsGiven) {
  const TemporaryFolder home;
  RunLoop ofTheApplication;
  int handedOver = 0;
  MainThreadAdapter adapter([&](MainThread::Task task) {
    ++handedOver;
    ofTheApplication.post(std::move(task));
  });
  StandardHost::Options options = optionsFor(home);
  options.mainThread = &adapter;
  StandardHost host(options);
  SQMManager manager(host);

  manager.SetSQMConnectionURL("no address");
  manager.uploadSQM();
  int failures = 0;
  const auto failed =
      host.notificationCenter->addObserver("TrelkSQMUploadFailure", nullptr, [&](const Notification&) { ++failures; });

  EXPECT_TRUE(ofTheApplication.runUntil([&] { return failures == 1; }, std::chrono::minutes(1)));
  EXPECT_EQ(handedOver, 1);
}

}  // namespace
}  // namespace sqm::platform
