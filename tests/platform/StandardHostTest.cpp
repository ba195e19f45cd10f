#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/common/HttpTransaction.h"
#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/files/PreferencesFile.h"
#include "sqm/platform/system/HomeFolders.h"
#include "sqm/platform/system/MainThreadAdapter.h"
#include "sqm/platform/system/RunLoop.h"
#include "sqm/testing/FakeHost.h"

#include "tests/support/Patience.h"
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

/// Saves twice. Returns true when the second save replaced the file.
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
  manager.setDeviceType(1);
  SQMSessionParams params;
  manager.sqmCreateStartRecord(&params);  // an unchanged list would not be saved again
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

TEST(StandardHost, ReportsWhenItsFoldersCannotBeMade) {
  const TemporaryFolder home;
  putContent(home / "Library", "a file where the folder should be");
  StandardHost host(optionsFor(home));
  EXPECT_FALSE(host.makeFolders());
  EXPECT_EQ(contentOf(home / "Library"), "a file where the folder should be");
}

TEST(StandardHost, SavesInPlaceWithoutTheOptionOfAtomicSaves) {
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

TEST(StandardHost, IsIdleWhenAReplacedHttpServiceIs) {
  const TemporaryFolder home;
  StandardHost host(optionsFor(home));
  testing::ScriptedHttp http(*host.notificationCenter);
  host.httpTransactions = &http;
  SQMManager manager(host);
  manager.SetSQMConnectionURL("http://collector.invalid/");
  manager.uploadSQM();
  ASSERT_EQ(http.requests().size(), 1U);
  EXPECT_FALSE(host.runUntilIdle(std::chrono::milliseconds(0)));
  host.runLoop().post([&] { http.complete(200); });
  EXPECT_TRUE(host.runUntilIdle(kPatience));
  EXPECT_EQ(http.requestsUnderWay(), 0U);
}

TEST(StandardHost, UsesTheServicesThatItIsGiven) {
  const TemporaryFolder home;
  testing::FakeHost fakes;
  StandardHost::Options options = optionsFor(home);
  options.services = fakes.host;
  options.services.httpTransactions = nullptr;
  options.services.mainThread = nullptr;
  StandardHost host(options);
  EXPECT_EQ(host.propertyLists, &fakes.propertyLists);
  EXPECT_EQ(host.console, &fakes.console);
  EXPECT_EQ(host.mainThread, &host.runLoop());
  const auto transaction = host.httpTransactions->makeTransaction();
  transaction->startSession("session", "Http.log");
  int failures = 0;
  const auto failed = fakes.notificationCenter.addObserver(TrelkHttpTransactionErrorNotification, transaction.get(),
                                                           [&](const Notification&) { ++failures; });
  transaction->sendHttpRequest("no address", kHttpMethodPost, "body");
  EXPECT_TRUE(host.runUntilIdle(kPatience));
  EXPECT_EQ(failures, 1) << "the standard client posts to the notification center of the application";
  EXPECT_EQ(fakes.logs.lines("Http.log").size(), 2U) << "and writes to its logs";
}

TEST(StandardHost, MakesTheFoldersOfTheConfigurationThatItIsGiven) {
  const TemporaryFolder home;
  const TemporaryFolder elsewhere;
  HomeFolders folders(elsewhere.path());
  StandardHost::Options options = optionsFor(home);
  options.services.configuration = &folders;
  StandardHost host(options);
  ASSERT_TRUE(host.makeFolders());
  EXPECT_TRUE(host.preferences().setClientTimeStamp("now"));
  EXPECT_TRUE(host.logFiles->initWithFile("SQM.log", 2));
  EXPECT_TRUE(fs::is_directory(elsewhere / kSqmFolder));
  EXPECT_TRUE(fs::is_regular_file(elsewhere / "Library/Logs/Trelk/Trelk Quenfa/SQM.log"));
  EXPECT_TRUE(home.names().empty());
}

TEST(StandardHost, LogsTextsUpToTheLimitOfItsOptions) {
  const std::string text = std::string(100'000, 'x') + "end";
  const std::pair<std::size_t, std::string> kCases[] = {
      {0, text + "\n"},
      {10, "xxxxxxxxxx [99993 bytes left out]\n"},
      {StandardHost::Options{}.logTextLimit, std::string(65536, 'x') + " [34467 bytes left out]\n"}};
  for (const auto& [limit, expected] : kCases) {
    const TemporaryFolder home;
    StandardHost::Options options = optionsFor(home);
    options.logTextLimit = limit;
    const StandardHost host(options);
    host.logFiles->initWithFile("SQM.log", 2)->writeLogToFileWithInfo("USER", 2, "%@", {text});
    const std::string content = contentOf(home / "Library/Logs/Trelk/Trelk Quenfa/SQM.log");
    EXPECT_TRUE(content.ends_with(" USER 2 " + expected)) << limit;
  }
}

TEST(StandardHost, ReportsExchangesToTheObserverOfItsOptions) {
  const TemporaryFolder home;
  std::vector<std::string> reported;
  StandardHost::Options options = optionsFor(home);
  options.onHttpExchange = [&](const HttpExchange& exchange) { reported.push_back(textOf(exchange)); };
  StandardHost host(options);
  host.httpTransactions->makeTransaction()->sendHttpRequest("http://127.0.0.1:1/", kHttpMethodPost, "dropped");
  const auto transaction = host.httpTransactions->makeTransaction();
  transaction->sendHttpRequest(std::nullopt, kHttpMethodPost, "body");
  EXPECT_TRUE(host.runUntilIdle(kPatience));
  EXPECT_EQ(reported, std::vector<std::string>{"error: there is no address"});
}

TEST(StandardHost, WaitsUntilItsTimeOut) {
  const TemporaryFolder home;
  StandardHost host(optionsFor(home));
  const auto transaction = host.httpTransactions->makeTransaction();
  bool hasFailed = false;
  const auto failed = host.notificationCenter->addObserver(TrelkHttpTransactionErrorNotification, transaction.get(),
                                                           [&](const Notification&) { hasFailed = true; });
  transaction->sendHttpRequest("http://127.0.0.1:1/", kHttpMethodPost, "body");
  EXPECT_TRUE(host.runUntilIdle(std::chrono::milliseconds::max()));
  EXPECT_TRUE(hasFailed);
}

TEST(StandardHost, IsNotIdleWhileTasksWait) {
  const TemporaryFolder home;
  StandardHost host(optionsFor(home));
  bool isDone = false;
  host.runLoop().post([&] { host.runLoop().post([&] { isDone = true; }); });
  EXPECT_TRUE(host.runUntilIdle(kPatience));
  EXPECT_TRUE(isDone);
}

TEST(StandardHost, DoesNotWaitForTasksThatNeverEnd) {
  const TemporaryFolder home;
  StandardHost host(optionsFor(home));
  const std::function<void()> again = [&] { host.runLoop().post(again); };
  again();
  EXPECT_TRUE(host.runUntilIdle(std::chrono::milliseconds(0)));
}

TEST(StandardHost, ReportsOutcomesThroughTheEventLoopItIsGiven) {
  const TemporaryFolder home;
  RunLoop ofTheApplication;
  int handedOver = 0;
  MainThreadAdapter adapter([&](MainThread::Task task) {
    ++handedOver;
    ofTheApplication.post(std::move(task));
  });
  StandardHost::Options options = optionsFor(home);
  options.services.mainThread = &adapter;
  StandardHost host(options);
  SQMManager manager(host);

  manager.SetSQMConnectionURL("no address");
  manager.uploadSQM();
  int failures = 0;
  const auto failed =
      host.notificationCenter->addObserver("TrelkSQMUploadFailure", nullptr, [&](const Notification&) { ++failures; });

  EXPECT_TRUE(ofTheApplication.runUntil([&] { return failures == 1; }, kPatience));
  EXPECT_EQ(handedOver, 1);
}

}  // namespace
}  // namespace sqm::platform
