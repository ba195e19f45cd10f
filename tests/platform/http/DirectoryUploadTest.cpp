// The directory uploader on the standard host, with a server on loopback and files on the disk.

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/platform/StandardHost.h"
#include "sqm/sessionfiles/SQMDataCollector.h"
#include "sqm/sessionfiles/SQMUploader.h"
#include "sqm/upload/SQMUploadNotifications.h"

#include "tests/platform/http/HttpFixture.h"
#include "tests/platform/http/LoopbackSocket.h"
#include "tests/support/ObservedConsole.h"
#include "tests/support/TemporaryFolder.h"

namespace sqm::tests {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;
using Then = Answer::Then;

constexpr std::int16_t kNeverStarted = 0;
constexpr std::int16_t kReading = 1;
constexpr std::int16_t kSending = 2;
constexpr std::int16_t kFailed = 3;
constexpr std::int16_t kDone = 4;

const Answer kNoAnswer{""};

class DirectoryUpload : public ::testing::Test {
 protected:
  DirectoryUpload() {
    forgetProxies();
    start({});
  }

  void start(const platform::HttpOptions& http) {
    uploader.reset();
    registrations.clear();
    platform::StandardHost::Options options;
    options.homeDirectory = home.path();
    options.http = http;
    host.emplace(options);
    host->console = &console;
    uploader = SQMUploader::create(*host);
    uploader->setSQMDirPath(folder.path());
    for (const std::string_view name : {TrelkSQMUploadComplete, TrelkSQMUploadError}) {
      registrations.push_back(host->notificationCenter->addObserver(
          name, uploader.get(), [this](const Notification& notification) { posted.emplace_back(notification.name); }));
    }
  }

  void put(std::string_view name, std::string_view content) { putContent(folder / name, content); }

  void startSendTo(const LoopbackServer& server) {
    uploader->setSQMUploadUrl(server.url("/sqm"));
    uploader->startSend();
  }

  /// Runs the loop until no request is in progress.
  void runUntilIdle() { ASSERT_TRUE(host->runUntilIdle(kPatience)); }

  void upload(const LoopbackServer& server) {
    startSendTo(server);
    runUntilIdle();
  }

  static std::vector<std::string> bodiesAt(const LoopbackServer& server) {
    std::vector<std::string> bodies;
    for (const ReceivedRequest& request : server.requests()) bodies.push_back(request.body);
    return bodies;
  }

  std::string log() const { return contentOf(home / "Library/Logs/Trelk/Trelk Quenfa/SQMUploadlog.log"); }

  void expectFailureWithAllFilesKept(std::string_view what) {
    EXPECT_THAT(posted, ElementsAre("TrelkSQMUploadError")) << what;
    EXPECT_EQ(uploader->getActivityStatus(), kFailed) << what;
    EXPECT_THAT(folder.names(), ElementsAre("a.sqm", "b.SQM", "notes.txt")) << what;
    EXPECT_EQ(contentOf(folder / "a.sqm"), "first\n") << what;
    EXPECT_EQ(contentOf(folder / "b.SQM"), "second\n") << what;
    posted.clear();
  }

  void putTwoRecordsAndANote() {
    put("b.SQM", "second\n");
    put("a.sqm", "first\n");
    put("notes.txt", "no record\n");
  }

  TemporaryFolder home;
  TemporaryFolder folder;
  ObservedConsole console;
  std::vector<std::string> posted;
  std::optional<platform::StandardHost> host;
  std::unique_ptr<SQMUploader> uploader;
  std::vector<NotificationCenter::Registration> registrations;
};

TEST_F(DirectoryUpload, ASuccessEmptiesTheFolderOfItsRecordsAndCompletes) {
  const LoopbackServer server(response("200 OK", "kept"));
  putTwoRecordsAndANote();
  upload(server);
  ASSERT_THAT(bodiesAt(server), ElementsAre("first\nsecond\n"));
  EXPECT_THAT(server.requests()[0].head, StartsWith("POST /sqm HTTP/1.1\r\n"));
  EXPECT_THAT(server.requests()[0].head, HasSubstr("\r\nContent-Type: text/plain; charset=utf-8\r\n"));
  EXPECT_THAT(folder.names(), ElementsAre("notes.txt"));
  EXPECT_EQ(uploader->getActivityStatus(), kDone);
  EXPECT_THAT(posted, ElementsAre("TrelkSQMUploadComplete"));
  EXPECT_THAT(log(), HasSubstr("startSend***started sending data to server:" + server.url("/sqm") + "\n"));
  EXPECT_THAT(log(), EndsWith(" DEBUG 2 httpStatus***Completed upload\n"));
}

TEST_F(DirectoryUpload, WhatACollectorSavedArrivesUnchanged) {
  const LoopbackServer server(response("200 OK"));
  SQMDataCollector collector(*host);
  collector.setSQMDirPath(folder.path());
  collector.collectDataOnCreation("creation", "de", "jo@example.net", "trelk/jo", "profile-7", "install-41", "17");
  collector.setConnectStartTime();
  ASSERT_TRUE(collector.saveRec());
  ASSERT_EQ(folder.names().size(), 1U);
  const std::string line = contentOf(folder / folder.names().front());
  upload(server);
  EXPECT_THAT(bodiesAt(server), ElementsAre(line));
  EXPECT_THAT(line, StartsWith("\"jo@example.net\","));
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(DirectoryUpload, AFolderWithTheNameOfAFileIsDeletedWithAllThatIsInItAndNothingOutside) {
  const LoopbackServer server(response("200 OK"));
  const TemporaryFolder outside;
  putContent(outside / "file", "outside");
  put("a.sqm", "a");
  std::filesystem::create_directories(folder / "folder.sqm/sub");
  putContent(folder / "folder.sqm/inner.sqm", "inner");
  putContent(folder / "folder.sqm/sub/file", "inner");
  for (const char* link : {"link.sqm", "folder.sqm/link", "folder.sqm/sub/link"}) {
    std::filesystem::create_directory_symlink(outside.path(), folder / link);
  }
  upload(server);
  EXPECT_THAT(bodiesAt(server), ElementsAre("a"));
  EXPECT_THAT(folder.names(), IsEmpty());
  EXPECT_EQ(contentOf(outside / "file"), "outside");
  EXPECT_THAT(console.lines,
              ElementsAre("Path :sqm", "Path :sqm", "Path :sqm", "file deleted:" + folder / "a.sqm",
                          "file deleted:" + folder / "folder.sqm", "file deleted:" + folder / "link.sqm"));
}

TEST_F(DirectoryUpload, AnEmptyFolderPostsAnEmptyBodyAndCompletes) {
  const LoopbackServer server(response("200 OK"));
  upload(server);
  ASSERT_THAT(bodiesAt(server), ElementsAre(""));
  EXPECT_THAT(server.requests()[0].head, HasSubstr("\r\nContent-Length: 0\r\n"));
  EXPECT_EQ(uploader->getActivityStatus(), kDone);
  EXPECT_THAT(posted, ElementsAre("TrelkSQMUploadComplete"));
  EXPECT_THAT(console.lines, IsEmpty());
}

TEST_F(DirectoryUpload, AnyOtherStatusIsAnErrorThatKeepsTheFilesForTheNextStart) {
  putTwoRecordsAndANote();
  for (const char* const status : {"201 Created", "204 No Content", "206 Partial Content", "302 Found", "404 Not Found",
                                   "500 Internal Server Error"}) {
    const LoopbackServer server(response(status));
    upload(server);
    EXPECT_THAT(bodiesAt(server), ElementsAre("first\nsecond\n")) << status;
    expectFailureWithAllFilesKept(status);
    EXPECT_THAT(log(), EndsWith("httpStatus : transaction recieved error response " +
                                std::to_string(std::stoi(status)) + "\n"));
  }
  const LoopbackServer server(response("200 OK"));
  upload(server);
  EXPECT_THAT(bodiesAt(server), ElementsAre("first\nsecond\n"));
  EXPECT_EQ(uploader->getActivityStatus(), kDone);
  EXPECT_THAT(folder.names(), ElementsAre("notes.txt"));
}

TEST_F(DirectoryUpload, AnAnswerThatIsNotWholeIsAnErrorThatKeepsTheFiles) {
  putTwoRecordsAndANote();
  const std::pair<std::string_view, Answer> cases[] = {
      {"no answer", {"", Then::close}},
      {"a success that is cut short", {"HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nkep", Then::close}},
      {"a success without the end of its head", {"HTTP/1.1 200 OK\r\n", Then::close}},
      {"no HTTP", {"200 OK\n", Then::close}},
  };
  for (const auto& [what, answer] : cases) {
    upload(LoopbackServer(answer));
    expectFailureWithAllFilesKept(what);
    EXPECT_THAT(log(), EndsWith(" DEBUG 2 httpStatus***upload error\n")) << what;
  }
}

TEST_F(DirectoryUpload, ARefusedPortIsAnErrorThatKeepsTheFiles) {
  putTwoRecordsAndANote();
  const Descriptor socket = boundSocket();  // bound, but not listening
  uploader->setSQMUploadUrl("http://127.0.0.1:" + std::to_string(portOf(socket)) + "/sqm");
  uploader->startSend();
  runUntilIdle();
  expectFailureWithAllFilesKept("refused");
}

TEST_F(DirectoryUpload, AnAddressThatIsMissingOrMalformedIsAnErrorThatKeepsTheFiles) {
  putTwoRecordsAndANote();
  for (const std::optional<std::string_view> url :
       {std::optional<std::string_view>(), {""}, {"no address"}, {"ftp://127.0.0.1/sqm"}}) {
    uploader->setSQMUploadUrl(url);
    uploader->startSend();
    EXPECT_EQ(uploader->getActivityStatus(), kSending) << "the outcome comes later";
    runUntilIdle();
    expectFailureWithAllFilesKept(url.value_or("absent"));
  }
}

TEST_F(DirectoryUpload, ATimeOutIsAnErrorThatKeepsTheFiles) {
  start({.totalLimit = 1s});
  putTwoRecordsAndANote();
  const LoopbackServer server(kNoAnswer);
  upload(server);
  EXPECT_THAT(bodiesAt(server), ElementsAre("first\nsecond\n")) << "the server has them, and gets them again";
  expectFailureWithAllFilesKept("time-out");
  EXPECT_THAT(log(), HasSubstr("httpStatus***notification recieved :TrelkHttpTransactionTimeOutNotification\n"));
}

TEST_F(DirectoryUpload, AFileWrittenWhileThePostIsUnderWayIsDeletedUnsent) {
  const LoopbackServer server(response("200 OK"));
  put("a.sqm", "a");
  startSendTo(server);
  ASSERT_TRUE(server.waitForHeads(1));
  put("b.sqm", "b");
  runUntilIdle();
  EXPECT_THAT(bodiesAt(server), ElementsAre("a"));
  EXPECT_THAT(folder.names(), IsEmpty());
  EXPECT_THAT(posted, ElementsAre("TrelkSQMUploadComplete"));
}

TEST_F(DirectoryUpload, FilesThatAppearAfterTheDeletionArePostedUntilThereAreNoMore) {
  const LoopbackServer server(response("200 OK"));
  put("a.sqm", "a");
  int later = 0;
  console.onLine = [&](std::string_view line) {
    if (!line.starts_with("file deleted:") || later == 3) return;
    const std::string name = "later " + std::to_string(++later);
    put(name + ".sqm", name);
  };
  upload(server);
  EXPECT_THAT(bodiesAt(server), ElementsAre("a", "later 1", "later 2", "later 3"));
  EXPECT_EQ(server.connections(), 1U);
  EXPECT_THAT(folder.names(), IsEmpty());
  EXPECT_EQ(uploader->getActivityStatus(), kDone);
  EXPECT_THAT(posted, ElementsAre("TrelkSQMUploadComplete")) << "once, at the end";
}

TEST_F(DirectoryUpload, AFailureOfALaterBodyKeepsItsFilesAlone) {
  const LoopbackServer server({response("200 OK"), response("500 Internal Server Error")});
  put("a.sqm", "a");
  console.onLine = [&](std::string_view line) {
    if (line.starts_with("file deleted:")) put("z.sqm", "later");
  };
  upload(server);
  EXPECT_THAT(bodiesAt(server), ElementsAre("a", "later"));
  EXPECT_THAT(folder.names(), ElementsAre("z.sqm"));
  EXPECT_EQ(contentOf(folder / "z.sqm"), "later");
  EXPECT_EQ(uploader->getActivityStatus(), kFailed);
  EXPECT_THAT(posted, ElementsAre("TrelkSQMUploadError"));
}

TEST_F(DirectoryUpload, AnAbortWhileItSendsPostsNothingAndKeepsTheFiles) {
  const LoopbackServer silent(kNoAnswer);
  put("a.sqm", "a");
  startSendTo(silent);
  ASSERT_TRUE(silent.waitForHeads(1));
  uploader->abortSend();
  runUntilIdle();
  EXPECT_TRUE(silent.waitForClosed(1));
  EXPECT_THAT(folder.names(), ElementsAre("a.sqm"));
  EXPECT_EQ(uploader->getActivityStatus(), kSending);
  EXPECT_THAT(posted, IsEmpty());
  EXPECT_THAT(log(), EndsWith("httpStatus***notification recieved :TrelkHttpTransactionAbortedNotification\n"));

  uploader->abortSend();  // with nothing under way
  runUntilIdle();
  EXPECT_THAT(posted, IsEmpty());

  const LoopbackServer server(response("200 OK"));
  upload(server);
  EXPECT_THAT(bodiesAt(server), ElementsAre("a"));
  EXPECT_THAT(folder.names(), IsEmpty());
  EXPECT_THAT(posted, ElementsAre("TrelkSQMUploadComplete"));
}

TEST_F(DirectoryUpload, AnAbortOverridesASuccessThatIsNotPostedYet) {
  const LoopbackServer server(response("200 OK"));
  put("a.sqm", "a");
  startSendTo(server);
  ASSERT_TRUE(server.waitForHeads(1));  // the answer may have arrived or not
  uploader->abortSend();
  runUntilIdle();
  EXPECT_THAT(folder.names(), ElementsAre("a.sqm"));
  EXPECT_EQ(uploader->getActivityStatus(), kSending);
  EXPECT_THAT(posted, IsEmpty());
}

TEST_F(DirectoryUpload, AnAbortInAnyOtherStateDoesNothing) {
  uploader->abortSend();
  EXPECT_EQ(uploader->getActivityStatus(), kNeverStarted);

  const LoopbackServer failing(response("500 Internal Server Error"));
  put("a.sqm", "a");
  std::vector<std::int16_t> states;
  console.onLine = [&](std::string_view) {
    states.push_back(uploader->getActivityStatus());
    uploader->abortSend();
  };
  upload(failing);
  console.onLine = nullptr;
  EXPECT_THAT(states, ElementsAre(kReading));
  EXPECT_THAT(bodiesAt(failing), ElementsAre("a")) << "an abort while it reads does not keep it from sending";
  uploader->abortSend();
  EXPECT_EQ(uploader->getActivityStatus(), kFailed);

  const LoopbackServer server(response("200 OK"));
  upload(server);
  uploader->abortSend();
  runUntilIdle();
  EXPECT_EQ(uploader->getActivityStatus(), kDone);
  EXPECT_THAT(posted, ElementsAre("TrelkSQMUploadError", "TrelkSQMUploadComplete"));
  EXPECT_THAT(log(), Not(HasSubstr("TrelkHttpTransactionAbortedNotification")));
}

TEST_F(DirectoryUpload, ASecondStartIsSentBesideTheFirstAndEachPostsItsOutcome) {
  const LoopbackServer server(response("200 OK"));
  put("a.sqm", "a");
  startSendTo(server);
  put("b.sqm", "b");
  startSendTo(server);
  runUntilIdle();
  EXPECT_THAT(bodiesAt(server), UnorderedElementsAre("a", "ab"));
  EXPECT_THAT(folder.names(), IsEmpty());
  EXPECT_EQ(uploader->getActivityStatus(), kDone);
  EXPECT_THAT(posted, ElementsAre("TrelkSQMUploadComplete", "TrelkSQMUploadComplete"));
}

TEST_F(DirectoryUpload, TheOutcomeOfASecondStartIsIndependentOfTheFirst) {
  auto silent = std::make_unique<LoopbackServer>(kNoAnswer);
  const LoopbackServer server(response("200 OK"));
  put("a.sqm", "a");
  startSendTo(*silent);
  startSendTo(server);
  ASSERT_TRUE(host->runLoop().runUntil([&] { return !posted.empty(); }, kPatience));
  EXPECT_THAT(posted, ElementsAre("TrelkSQMUploadComplete"));
  EXPECT_EQ(uploader->getActivityStatus(), kDone);
  EXPECT_THAT(folder.names(), IsEmpty());
  silent.reset();
  runUntilIdle();
  EXPECT_THAT(posted, ElementsAre("TrelkSQMUploadComplete", "TrelkSQMUploadError"));
  EXPECT_EQ(uploader->getActivityStatus(), kFailed);
}

TEST_F(DirectoryUpload, AnUploaderDestroyedWhileItSendsLeavesTheFiles) {
  const LoopbackServer silent(kNoAnswer);
  put("a.sqm", "a");
  startSendTo(silent);
  ASSERT_TRUE(silent.waitForHeads(1));
  uploader.reset();
  EXPECT_TRUE(silent.waitForClosed(1));
  runUntilIdle();
  EXPECT_THAT(folder.names(), ElementsAre("a.sqm"));
  EXPECT_THAT(posted, IsEmpty());
}

TEST_F(DirectoryUpload, ManyMegabytesInManyFilesArriveByteForByte) {
  const LoopbackServer server(response("200 OK"));
  std::string all;
  for (int number = 100; number < 120; ++number) {
    const std::string content(1'000'000, static_cast<char>('a' + number % 26));
    put(std::to_string(number) + ".sqm", content);
    all += content;
  }
  upload(server);
  ASSERT_EQ(server.requests().size(), 1U);
  EXPECT_TRUE(server.requests()[0].body == all);
  EXPECT_THAT(folder.names(), IsEmpty());
}

}  // namespace
}  // namespace sqm::tests
