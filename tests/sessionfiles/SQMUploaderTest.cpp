#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/sessionfiles/SQMUploader.h"
#include "sqm/testing/FakeHost.h"
#include "sqm/upload/SQMUploadNotifications.h"

#include "tests/support/ObservedConsole.h"

using sqm::Notification;
using sqm::NotificationCenter;
using sqm::SQMUploader;
using sqm::testing::FakeHost;

namespace {

using Lines = std::vector<std::string>;

const std::string kFolder = "/sessions";
constexpr std::string_view kUrl = "https://collect.example/sqm";

/// Records the notifications of the uploaders, and calls `then` after each.
class Observer {
 public:
  explicit Observer(NotificationCenter& center) {
    for (const auto name : {sqm::TrelkSQMUploadComplete, sqm::TrelkSQMUploadError, sqm::TrelkSQMUploadSuccess,
                            sqm::TrelkSQMUploadFailure}) {
      registrations_.push_back(center.addObserver(name, nullptr, [this](const Notification& notification) {
        posted.emplace_back(notification.name);
        sender = notification.object;
        if (then) then();
      }));
    }
  }

  Lines posted;
  const void* sender = nullptr;
  std::function<void()> then;

 private:
  std::vector<NotificationCenter::Registration> registrations_;
};

class SQMUploaderTest : public ::testing::Test {
 protected:
  SQMUploaderTest() {
    host.host.console = &console;
    uploader = SQMUploader::create(host.host);
    uploader->setSQMUploadUrl(kUrl);
    host.files.makeFolder(kFolder);
    uploader->setSQMDirPath(kFolder);
  }

  void put(std::string_view name, std::string_view content) {
    host.files.put(kFolder + "/" + std::string(name), content);
  }
  Lines names() const { return host.files.names(kFolder); }

  Lines log() const { return host.logs.lines("SQMUploadlog.log"); }

  /// The lines that came after the first `count`.
  Lines logAfter(std::size_t count) const {
    const Lines lines = log();
    return {lines.begin() + static_cast<std::ptrdiff_t>(count), lines.end()};
  }

  const sqm::testing::ScriptedHttp::Transaction& transaction() const { return *host.http.transactions().back(); }
  Lines bodies() const {
    Lines all;
    for (const auto& request : host.http.requests()) all.push_back(request.data);
    return all;
  }

  FakeHost host;
  ObservedConsole console;
  Observer observer{host.notificationCenter};
  std::unique_ptr<SQMUploader> uploader;
};

constexpr std::int16_t kNeverStarted = 0;
constexpr std::int16_t kReading = 1;
constexpr std::int16_t kSending = 2;
constexpr std::int16_t kFailed = 3;
constexpr std::int16_t kCompleted = 4;

TEST_F(SQMUploaderTest, AFreshUploaderHasNeverStarted) {
  EXPECT_EQ(uploader->getActivityStatus(), kNeverStarted);
  EXPECT_EQ(host.http.requests().size(), 0U);
  EXPECT_EQ(log(), Lines{});
  const auto other = SQMUploader::create(host.host);
  EXPECT_EQ(other->sqmUploadUrl(), std::nullopt);
  EXPECT_EQ(other->SQMDirPath(), std::nullopt);
}

TEST_F(SQMUploaderTest, TheSessionHasNoNameAndNoEncodingIsSet) {
  EXPECT_EQ(transaction().session(), "");
  EXPECT_EQ(transaction().logFile(), "SQMHttp.log");
  EXPECT_EQ(transaction().encoding(), std::nullopt);
}

TEST_F(SQMUploaderTest, TheActivityStatusIsANumberOf16Bits) {
  EXPECT_TRUE((std::is_same_v<decltype(uploader->getActivityStatus()), std::int16_t>));
}

TEST_F(SQMUploaderTest, WithoutALogFileThereIsNoUploader) {
  host.logs.refuse("SQMUploadlog.log");
  EXPECT_EQ(SQMUploader::create(host.host), nullptr);
  EXPECT_EQ(host.http.transactions().size(), 1U) << "the transaction made for it is destroyed";
}

TEST_F(SQMUploaderTest, WithoutATransactionThereIsNoUploader) {
  host.http.refuse();
  EXPECT_EQ(SQMUploader::create(host.host), nullptr);
}

TEST_F(SQMUploaderTest, KeepsTheAddressAndTheFolder) {
  EXPECT_EQ(uploader->sqmUploadUrl(), kUrl);
  EXPECT_EQ(uploader->SQMDirPath(), kFolder);
  uploader->setSQMUploadUrl(std::nullopt);
  uploader->setSQMDirPath(std::nullopt);
  EXPECT_EQ(uploader->sqmUploadUrl(), std::nullopt);
  EXPECT_EQ(uploader->SQMDirPath(), std::nullopt);
}

TEST_F(SQMUploaderTest, PostsAllFilesAsOneBody) {
  put("a.sqm", "first\n");
  put("b.SQM", "second\n");
  uploader->startSend();
  ASSERT_EQ(host.http.requests().size(), 1U);
  EXPECT_EQ(host.http.requests()[0].url, kUrl);
  EXPECT_EQ(host.http.requests()[0].method, sqm::kHttpMethodPost);
  EXPECT_EQ(host.http.requests()[0].data, "first\nsecond\n");
  EXPECT_EQ(uploader->getActivityStatus(), kSending);
  EXPECT_EQ(log(), (Lines{"DEBUG 2 startSend***started sending data to server:https://collect.example/sqm",
                          "DEBUG 2 startSend*** SQM Data:first\nsecond\n"}));
}

TEST_F(SQMUploaderTest, IsReadingWhileItReadsTheFolder) {
  put("a.sqm", "a");
  std::int16_t status = kNeverStarted;
  console.onLine = [&](std::string_view) { status = uploader->getActivityStatus(); };
  uploader->startSend();
  EXPECT_EQ(status, kReading);
}

TEST_F(SQMUploaderTest, APerCentSignInTheDataIsNoFormat) {
  put("a.sqm", "%@ %d %s");
  uploader->setSQMUploadUrl("https://collect.example/%40%@");
  uploader->startSend();
  EXPECT_EQ(log(), (Lines{"DEBUG 2 startSend***started sending data to server:https://collect.example/%40%@",
                          "DEBUG 2 startSend*** SQM Data:%@ %d %s"}));
}

TEST_F(SQMUploaderTest, ASuccessDeletesTheFilesAndCompletes) {
  put("a.sqm", "a");
  put("b.sqm", "b");
  put("c.txt", "c");
  uploader->startSend();
  host.http.complete(200);
  EXPECT_EQ(names(), Lines{"c.txt"});
  EXPECT_EQ(uploader->getActivityStatus(), kCompleted);
  EXPECT_EQ(observer.posted, Lines{"TrelkSQMUploadComplete"});
  EXPECT_EQ(observer.sender, uploader.get());
  EXPECT_EQ(logAfter(2), (Lines{"DEBUG 2 httpStatus***notification recieved :TrelkHttpTransactionCompletedNotification",
                                "DEBUG 2 httpStatus***Completed upload"}));
  EXPECT_EQ(console.lines,
            (Lines{"Path :sqm", "Path :sqm", "file deleted:/sessions/a.sqm", "file deleted:/sessions/b.sqm"}));
}

TEST_F(SQMUploaderTest, AnEmptyFolderPostsAnEmptyBodyAndThenCompletes) {
  uploader->startSend();
  EXPECT_EQ(bodies(), Lines{""});
  host.http.complete(200);
  EXPECT_EQ(console.lines, Lines{}) << "nothing was read or deleted";
  EXPECT_EQ(observer.posted, Lines{"TrelkSQMUploadComplete"});
  EXPECT_EQ(uploader->getActivityStatus(), kCompleted);
  EXPECT_EQ(bodies().size(), 1U);
}

TEST_F(SQMUploaderTest, AnyOtherStatusIsAnErrorAndKeepsTheFiles) {
  put("a.sqm", "a");
  for (const int status : {0, 100, 199, 201, 202, 204, 301, 302, 400, 404, 500, 503, 2000}) {
    observer.posted.clear();
    uploader->startSend();
    const std::size_t logged = log().size();
    host.http.complete(status);
    EXPECT_EQ(names(), Lines{"a.sqm"});
    EXPECT_EQ(uploader->getActivityStatus(), kFailed);
    EXPECT_EQ(observer.posted, Lines{"TrelkSQMUploadError"});
    EXPECT_EQ(observer.sender, uploader.get());
    EXPECT_EQ(logAfter(logged),
              (Lines{"DEBUG 2 httpStatus***notification recieved :TrelkHttpTransactionCompletedNotification",
                     "DEBUG 2 httpStatus : transaction recieved error response " + std::to_string(status)}));
  }
}

TEST_F(SQMUploaderTest, AnErrorAndATimeOutKeepTheFiles) {
  put("a.sqm", "a");
  for (const std::string_view failure :
       {sqm::TrelkHttpTransactionErrorNotification, sqm::TrelkHttpTransactionTimeOutNotification}) {
    observer.posted.clear();
    uploader->startSend();
    const std::size_t logged = log().size();
    host.http.transactions().back()->end(failure, 0);
    EXPECT_EQ(names(), Lines{"a.sqm"});
    EXPECT_EQ(uploader->getActivityStatus(), kFailed);
    EXPECT_EQ(observer.posted, Lines{"TrelkSQMUploadError"});
    EXPECT_EQ(logAfter(logged), (Lines{"DEBUG 2 httpStatus***notification recieved :" + std::string(failure),
                                       "DEBUG 2 httpStatus***upload error"}));
  }
}

TEST_F(SQMUploaderTest, AnAbortPostsNothingAndTheStatusStaysSending) {
  put("a.sqm", "a");
  uploader->startSend();
  uploader->abortSend();
  EXPECT_EQ(transaction().aborts(), 1);
  host.http.endAbort();
  EXPECT_EQ(names(), Lines{"a.sqm"});
  EXPECT_EQ(uploader->getActivityStatus(), kSending);
  EXPECT_EQ(observer.posted, Lines{});
  EXPECT_EQ(logAfter(2), Lines{"DEBUG 2 httpStatus***notification recieved :TrelkHttpTransactionAbortedNotification"});
  uploader->abortSend();
  EXPECT_EQ(transaction().aborts(), 2);
}

TEST_F(SQMUploaderTest, AnAbortDoesNothingUnlessItIsSending) {
  uploader->abortSend();  // never started
  put("a.sqm", "a");
  console.onLine = [&](std::string_view) { uploader->abortSend(); };  // reading
  uploader->startSend();
  console.onLine = nullptr;
  host.http.fail();
  uploader->abortSend();  // failed
  uploader->startSend();
  host.http.complete(200);
  uploader->abortSend();  // completed
  EXPECT_EQ(transaction().aborts(), 0);
}

TEST_F(SQMUploaderTest, AnUploadStartsOverAfterEveryOutcome) {
  put("a.sqm", "a");
  uploader->startSend();
  host.http.fail();
  uploader->startSend();
  EXPECT_EQ(uploader->getActivityStatus(), kSending);
  uploader->abortSend();
  host.http.endAbort();
  uploader->startSend();
  EXPECT_EQ(uploader->getActivityStatus(), kSending);
  host.http.complete(200);
  EXPECT_EQ(uploader->getActivityStatus(), kCompleted);
  put("b.sqm", "b");
  uploader->startSend();
  EXPECT_EQ(uploader->getActivityStatus(), kSending);
  host.http.complete(200);
  EXPECT_EQ(uploader->getActivityStatus(), kCompleted);
  EXPECT_EQ(bodies(), (Lines{"a", "a", "a", "b"}));
  EXPECT_EQ(observer.posted, (Lines{"TrelkSQMUploadError", "TrelkSQMUploadComplete", "TrelkSQMUploadComplete"}));
}

TEST_F(SQMUploaderTest, AFileWrittenWhileThePostIsUnderWayIsLost) {
  put("a.sqm", "a");
  uploader->startSend();
  put("b.sqm", "b");
  host.http.complete(200);
  EXPECT_EQ(names(), Lines{});
  EXPECT_EQ(bodies(), Lines{"a"});
  EXPECT_EQ(observer.posted, Lines{"TrelkSQMUploadComplete"});
}

TEST_F(SQMUploaderTest, AFileWrittenAfterTheDeletionIsPostedNext) {
  put("a.sqm", "a");
  uploader->startSend();
  console.onLine = [&](std::string_view line) {
    if (line.starts_with("file deleted:")) put("later.sqm", "later");
  };
  host.http.complete(200);
  console.onLine = nullptr;
  EXPECT_EQ(uploader->getActivityStatus(), kSending);
  EXPECT_EQ(observer.posted, Lines{});
  ASSERT_EQ(bodies(), (Lines{"a", "later"}));
  EXPECT_EQ(host.http.requests()[1].url, kUrl);
  EXPECT_EQ(host.http.requests()[1].method, sqm::kHttpMethodPost);
  EXPECT_EQ(logAfter(2), (Lines{"DEBUG 2 httpStatus***notification recieved :TrelkHttpTransactionCompletedNotification",
                                "DEBUG 2 httpStatus***posting next record"}));
  host.http.complete(200);
  EXPECT_EQ(names(), Lines{});
  EXPECT_EQ(observer.posted, Lines{"TrelkSQMUploadComplete"});
}

TEST_F(SQMUploaderTest, AFailureOfTheNextBodyKeepsItsFiles) {
  put("a.sqm", "a");
  uploader->startSend();
  console.onLine = [&](std::string_view line) {
    if (line.starts_with("file deleted:")) put("later.sqm", "later");
  };
  host.http.complete(200);
  host.http.complete(500);
  EXPECT_EQ(names(), Lines{"later.sqm"});
  EXPECT_EQ(uploader->getActivityStatus(), kFailed);
  EXPECT_EQ(observer.posted, Lines{"TrelkSQMUploadError"});
}

TEST_F(SQMUploaderTest, ASecondStartIsSentBesideTheFirst) {
  put("a.sqm", "a");
  uploader->startSend();
  put("b.sqm", "b");
  uploader->startSend();
  EXPECT_EQ(bodies(), (Lines{"a", "ab"}));
  host.http.complete(200);
  EXPECT_EQ(uploader->getActivityStatus(), kCompleted);
  host.http.complete(200);
  EXPECT_EQ(observer.posted, (Lines{"TrelkSQMUploadComplete", "TrelkSQMUploadComplete"}));
}

TEST_F(SQMUploaderTest, AnAbsentAddressIsPassedOn) {
  put("a.sqm", "a");
  uploader->setSQMUploadUrl(std::nullopt);
  uploader->startSend();
  ASSERT_EQ(host.http.requests().size(), 1U);
  EXPECT_EQ(host.http.requests()[0].url, std::nullopt);
  EXPECT_EQ(log()[0], "DEBUG 2 startSend***started sending data to server:(null)");
  host.http.fail();
  EXPECT_EQ(observer.posted, Lines{"TrelkSQMUploadError"});
}

TEST_F(SQMUploaderTest, WithoutAFolderAnEmptyBodyIsPosted) {
  put("a.sqm", "a");
  uploader->setSQMDirPath(std::nullopt);
  uploader->startSend();
  host.http.complete(200);
  EXPECT_EQ(bodies(), Lines{""});
  EXPECT_EQ(observer.posted, Lines{"TrelkSQMUploadComplete"});
  EXPECT_EQ(names(), Lines{"a.sqm"});
}

TEST_F(SQMUploaderTest, AFileThatCannotBeSentIsDeletedWithTheOthers) {
  put("a.sqm", "a");
  put("b.sqm", "caf\xE9");
  uploader->startSend();
  EXPECT_EQ(bodies(), Lines{"a"});
  host.http.complete(200);
  EXPECT_EQ(names(), Lines{});
}

TEST_F(SQMUploaderTest, FilesThatCannotBeDeletedArePostedUntilItIsAborted) {
  put("a.sqm", "a");
  host.files.refuse(sqm::testing::MemoryFiles::Operation::remove, kFolder + "/a.sqm");
  uploader->startSend();
  host.http.complete(200);
  host.http.complete(200);
  EXPECT_EQ(bodies(), (Lines{"a", "a", "a"}));
  uploader->abortSend();
  host.http.endAbort();
  EXPECT_EQ(bodies().size(), 3U);
  EXPECT_EQ(observer.posted, Lines{});
}

TEST_F(SQMUploaderTest, OutcomesOfOtherTransactionsDoNotReachIt) {
  put("a.sqm", "a");
  uploader->startSend();
  const auto other = SQMUploader::create(host.host);
  other->setSQMUploadUrl(kUrl);
  other->startSend();
  host.http.fail();  // the transaction made last: the other's
  EXPECT_EQ(other->getActivityStatus(), kFailed);
  EXPECT_EQ(uploader->getActivityStatus(), kSending);
  EXPECT_EQ(observer.sender, other.get());
}

TEST_F(SQMUploaderTest, ADestroyedUploaderReceivesNothingMore) {
  uploader->startSend();
  const void* sender = &transaction();
  uploader.reset();
  EXPECT_EQ(host.http.transactions().size(), 0U);
  const std::size_t logged = log().size();
  host.notificationCenter.postNotificationName(sqm::TrelkHttpTransactionErrorNotification, sender);
  EXPECT_EQ(log().size(), logged);
  EXPECT_EQ(observer.posted, Lines{});
}

TEST_F(SQMUploaderTest, AnObserverMayDestroyIt) {
  const std::function<void()> outcomes[] = {[&] { host.http.complete(200); }, [&] { host.http.complete(500); },
                                            [&] { host.http.fail(); }, [&] { host.http.timeOut(); }};
  for (const auto& end : outcomes) {
    uploader = SQMUploader::create(host.host);
    uploader->startSend();
    observer.posted.clear();
    observer.then = [&] { uploader.reset(); };
    end();
    EXPECT_EQ(observer.posted.size(), 1U);
    EXPECT_EQ(uploader, nullptr);
    EXPECT_EQ(host.http.transactions().size(), 0U);
  }
}

TEST_F(SQMUploaderTest, AnObserverMayStartItAgain) {
  put("a.sqm", "a");
  uploader->startSend();
  observer.then = [&] {
    EXPECT_EQ(uploader->getActivityStatus(), kFailed) << "the outcome is known when it is posted";
    observer.then = nullptr;
    uploader->startSend();
  };
  host.http.fail();
  EXPECT_EQ(uploader->getActivityStatus(), kSending);
  EXPECT_EQ(bodies(), (Lines{"a", "a"}));
  host.http.complete(200);
  EXPECT_EQ(observer.posted, (Lines{"TrelkSQMUploadError", "TrelkSQMUploadComplete"}));
}

}  // namespace
