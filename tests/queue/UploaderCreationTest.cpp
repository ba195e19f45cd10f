// The one uploader of a process: how it is created, encoded and decoded. Each test runs in a process of its own.

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/HttpTransaction.h"
#include "sqm/common/TrelkConfiguration.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/testing/FakeHost.h"
#include "sqm/testing/MemoryCoder.h"

#include "tests/queue/Requests.h"
#include "tests/support/FreshProcess.h"

namespace {

using sqm::QFRecordUploader;
using sqm::UploadRequest;
using sqm::UploadRequests;
using sqm::testing::FakeHost;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

static_assert(!std::is_destructible_v<QFRecordUploader>, "the process's uploader is never destroyed");

/// An installed host, in a process that has no uploader yet.
struct FreshHost : FakeHost {
  FreshHost() { sqm::Host::install(host); }
};

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, LoadsTheArchiveAndSendsWhatItHolds) {
  FreshHost host;
  host.archives.put(kArchive, UploadRequests{requestOf("first"), requestOf("second")});
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  EXPECT_EQ(host.http.transactions().size(), 1U);
  EXPECT_EQ(host.http.transactions().front()->session(), "TrelkConnect");
  EXPECT_EQ(host.http.transactions().front()->logFile(), "UploadData.log");
  EXPECT_THAT(host.http.requests(), IsEmpty());
  uploader.quequeRecord("third", kUrl);
  uploader.uploadRecord();
  for (int answers = 0; answers < 3; ++answers) {
    host.http.complete(200);
    host.mainThread.runAll();
  }
  std::vector<std::string> sent;
  for (const auto& request : host.http.requests()) sent.push_back(request.data);
  EXPECT_THAT(sent, ElementsAre("first", "second", "third"));
}

/// Has no file. Fails the test when one is read.
class AbsentArchive : public sqm::testing::MemoryArchives {
 public:
  std::optional<UploadRequests> objectFromFile(const std::string& path) override {
    ADD_FAILURE() << path;
    return std::nullopt;
  }
};

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, WithoutAnArchiveTheQueueIsEmptyWhateverTheSerializerYields) {
  FreshHost host;
  AbsentArchive absent;
  host.host.serializer = &absent;
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  EXPECT_EQ(uploader.recordQueue(), UploadRequests{});
  EXPECT_THAT(absent.writes(), IsEmpty());
  EXPECT_TRUE(uploader.quequeRecord("first", kUrl));
  EXPECT_EQ(absent.file(kArchive), UploadRequests{requestOf("first")});
}

/// A host whose services record the steps of an uploader's creation.
class RecordingHost : public FakeHost,
                      public sqm::HttpTransactionFactory,
                      public sqm::TrelkConfiguration,
                      public sqm::testing::MemoryArchives,
                      public sqm::testing::MemoryFiles {
 public:
  RecordingHost() {
    host.httpTransactions = this;
    host.configuration = this;
    host.files = this;
    host.serializer = this;
    sqm::Host::install(host);
  }

  std::vector<std::string> steps;

 private:
  class Transaction : public sqm::HttpTransaction {
   public:
    explicit Transaction(RecordingHost& host) : host_(host) {}
    void setEncoding(int) override {}
    void startSession(std::string_view session, std::string_view logFile) override {
      host_.add("session " + std::string(session) + " " + std::string(logFile));
    }
    void sendHttpRequest(std::optional<std::string_view>, int, std::string) override {}
    void abortTransaction() override {}
    int httpResponseStatusCode() const override {
      ++host_.answers_;
      return 0;
    }
    std::string_view httpResponseContent() const override { return {}; }

   private:
    RecordingHost& host_;
  };

  /// Adds the step, and how many of the transaction's four outcomes have an observer by then.
  void add(const std::string& step) {
    answers_ = 0;
    for (const auto name :
         {sqm::TrelkHttpTransactionCompletedNotification, sqm::TrelkHttpTransactionErrorNotification,
          sqm::TrelkHttpTransactionTimeOutNotification, sqm::TrelkHttpTransactionAbortedNotification}) {
      notificationCenter.postNotificationName(name, transaction_);
    }
    steps.push_back(step + ", observers: " + std::to_string(answers_));
  }

  std::unique_ptr<sqm::HttpTransaction> makeTransaction() override {
    auto made = std::make_unique<Transaction>(*this);
    transaction_ = made.get();
    add("transaction");
    return made;
  }
  std::size_t requestsUnderWay() const override { return 0; }
  std::string homeDirectory() const override { return {}; }
  std::string applicationQuenfaFolderPath() const override {
    self_.add("path");
    return "/folder";
  }
  bool exists(const std::string& path) const override {
    self_.add("exists " + path);
    return true;
  }
  std::optional<UploadRequests> objectFromFile(const std::string& path) override {
    add("load " + path);
    return UploadRequests{};
  }

  const sqm::HttpTransaction* transaction_ = nullptr;
  int answers_ = 0;
  RecordingHost& self_ = *this;  // for the services' const operations
};

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, StepsAreTransactionSessionObserversArchive) {
  RecordingHost host;
  QFRecordUploader::sharedQFRecordUploader();
  EXPECT_THAT(host.steps, ElementsAre("transaction, observers: 0", "session TrelkConnect UploadData.log, observers: 0",
                                      "path, observers: 4", "exists /folder/QFRecordUploader.plist, observers: 4",
                                      "load /folder/QFRecordUploader.plist, observers: 4"));
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, WithAnArchiveThatYieldsNothingThereIsNoQueue) {
  FreshHost host;
  host.archives.put(kArchive, std::nullopt);
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  EXPECT_EQ(uploader.recordQueue(), std::nullopt);
  EXPECT_TRUE(uploader.quequeRecord("lost", kUrl));
  EXPECT_EQ(uploader.recordQueue(), std::nullopt);
  EXPECT_THAT(host.archives.writes(), IsEmpty());
  uploader.uploadRecord();
  EXPECT_THAT(host.http.requests(), IsEmpty());
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderIdle, IsWhenNothingIsUnderWayAndNothingWillFollow) {
  FreshHost host;
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  uploader.uploadRecord();
  EXPECT_TRUE(uploader.isIdle()) << "the queue is empty";
  uploader.quequeRecord("first", kUrl);
  uploader.quequeRecord("second", kUrl);
  EXPECT_TRUE(uploader.isIdle()) << "nothing was sent";
  uploader.uploadRecord();
  EXPECT_FALSE(uploader.isIdle());
  host.http.complete(200);
  EXPECT_FALSE(uploader.isIdle()) << "the next one will be sent";
  EXPECT_FALSE(uploader.uploadInProgress());
  host.mainThread.runAll();
  EXPECT_FALSE(uploader.isIdle());
  host.http.fail();
  EXPECT_TRUE(uploader.isIdle()) << "it failed";
  EXPECT_TRUE(uploader.uploadInProgress());
  uploader.uploadRecord();
  uploader.uploadRecord();
  host.http.complete(500);
  EXPECT_FALSE(uploader.isIdle()) << "one of two is under way";
  host.http.complete(200);
  EXPECT_TRUE(uploader.isIdle()) << "all was sent";
  host.http.complete(200);
  EXPECT_TRUE(uploader.isIdle()) << "an outcome that belongs to no request is not counted";
  uploader.setRecordQueue(UploadRequests{{}});
  uploader.uploadRecord();
  EXPECT_TRUE(uploader.isIdle()) << "a request without address and data is not sent";
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, ThereIsOneInTheProcessAndItStays) {
  FreshHost host;
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  EXPECT_EQ(QFRecordUploader::sharedQFRecordUploader(), &uploader);
  EXPECT_EQ(QFRecordUploader::alloc(), nullptr);
  EXPECT_EQ(uploader.copy(), &uploader);
  EXPECT_EQ(uploader.retain(), &uploader);
  EXPECT_EQ(uploader.autorelease(), &uploader);
  uploader.release();
  EXPECT_EQ(uploader.retainCount(), 0xFFFFFFFFFFFFFFFFU);
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, NeedsAHost) {
  sqm::testing::MemoryCoder coder;
  EXPECT_EQ(sqm::Host::installed(), nullptr);
  EXPECT_EQ(QFRecordUploader::sharedQFRecordUploader(), nullptr);
  EXPECT_EQ(QFRecordUploader::alloc(), nullptr);
  EXPECT_EQ(QFRecordUploader::initWithCoder(coder), nullptr);
  FreshHost host;
  EXPECT_EQ(sqm::Host::installed(), &host.host);
  EXPECT_NE(QFRecordUploader::sharedQFRecordUploader(), nullptr);
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, KeepsTheHostThatWasInstalledThen) {
  FreshHost host;
  QFRecordUploader::sharedQFRecordUploader()->quequeRecord("first", kUrl);
  FreshHost later;
  QFRecordUploader::sharedQFRecordUploader()->quequeRecord("second", kUrl);
  EXPECT_EQ(host.archives.writes().size(), 2U);
  EXPECT_THAT(later.archives.writes(), IsEmpty());
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, WithoutATransactionItStillQueues) {
  FreshHost host;
  host.http.refuse();
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  EXPECT_TRUE(uploader.quequeRecord("first", kUrl));
  uploader.uploadRecord();
  EXPECT_TRUE(uploader.isIdle());
  EXPECT_EQ(uploader.recordQueue(), UploadRequests{requestOf("first")});
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, FirstAllocationMakesTheOne) {
  FreshHost host;
  QFRecordUploader* uploader = QFRecordUploader::alloc();
  EXPECT_NE(uploader, nullptr);
  EXPECT_EQ(QFRecordUploader::alloc(), nullptr);
  EXPECT_EQ(QFRecordUploader::sharedQFRecordUploader(), uploader);
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, ConcurrentFirstCallsGetTheOne) {
  FreshHost host;
  std::array<QFRecordUploader*, 8> got{};
  std::vector<std::thread> threads;
  threads.reserve(got.size());
  for (QFRecordUploader*& each : got) {
    threads.emplace_back([&each] { each = QFRecordUploader::sharedQFRecordUploader(); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(got, ::testing::Each(QFRecordUploader::sharedQFRecordUploader()));
  EXPECT_EQ(host.http.transactions().size(), 1U);
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, MayHappenOnAnotherThreadWhileTheMainThreadPostsAndRegisters) {
  FreshHost host;
  std::atomic<bool> isCreated = false;
  std::thread creator([&] {
    QFRecordUploader::sharedQFRecordUploader()->quequeRecord("first", kUrl);
    isCreated = true;
  });
  int handled = 0;
  do {
    const auto registration =
        host.notificationCenter.addObserver("name", nullptr, [&](const sqm::Notification&) { ++handled; });
    host.notificationCenter.postNotificationName("name", nullptr);
  } while (!isCreated);
  creator.join();
  EXPECT_GT(handled, 0);
  QFRecordUploader::sharedQFRecordUploader()->uploadRecord();
  host.http.complete(200);
  EXPECT_EQ(QFRecordUploader::sharedQFRecordUploader()->recordQueue(), UploadRequests{});
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, EncodesItsQueueAndNothingElse) {
  FreshHost host;
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  uploader.quequeRecord("first", kUrl);
  sqm::testing::MemoryCoder coder;
  uploader.encodeWithCoder(coder);
  EXPECT_EQ(sqm::kQFRecordData, "QFRecordData");
  EXPECT_EQ(coder.objects.size(), 1U);
  EXPECT_EQ(coder.objects.at("QFRecordData"), UploadRequests{requestOf("first")});
  EXPECT_EQ(QFRecordUploader::initWithCoder(coder), nullptr) << "there is one already";
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, DecodedItHasTheQueueAndCannotSend) {
  FreshHost host;
  host.archives.put(kArchive, UploadRequests{requestOf("archived")});
  sqm::testing::MemoryCoder coder;
  coder.objects["QFRecordData"] = UploadRequests{requestOf("encoded")};
  QFRecordUploader& uploader = *QFRecordUploader::initWithCoder(coder);
  EXPECT_EQ(uploader.recordQueue(), UploadRequests{requestOf("encoded")});
  EXPECT_THAT(host.http.transactions(), IsEmpty());
  sqm::testing::MemoryLogs logs;
  const auto log = logs.initWithFile("uploader", 2);
  uploader.setLogfile(log.get());
  for (const auto name : {sqm::TrelkHttpTransactionCompletedNotification, sqm::TrelkHttpTransactionErrorNotification,
                          sqm::TrelkHttpTransactionTimeOutNotification, sqm::TrelkHttpTransactionAbortedNotification}) {
    host.notificationCenter.postNotificationName(name, nullptr);
  }
  EXPECT_THAT(logs.lines("uploader"), IsEmpty()) << "it observes nothing";
  uploader.setLogfile(nullptr);
  uploader.uploadRecord();
  EXPECT_EQ(uploader.recordQueue(), UploadRequests{requestOf("encoded")});
  EXPECT_TRUE(uploader.quequeRecord("more", kUrl));
  EXPECT_EQ(host.archives.file(kArchive), (UploadRequests{requestOf("encoded"), requestOf("more")}));
  EXPECT_EQ(QFRecordUploader::sharedQFRecordUploader(), &uploader);
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, DecodedFromNothingItHasNoQueue) {
  FreshHost host;
  sqm::testing::MemoryCoder coder;
  EXPECT_EQ(QFRecordUploader::initWithCoder(coder)->recordQueue(), std::nullopt);
}

/// Makes transactions that call `onSend` with each request and never end it.
class ObservedHttp : public sqm::HttpTransactionFactory {
 public:
  explicit ObservedHttp(std::function<void()> onSend) : onSend_(std::move(onSend)) {}

  std::unique_ptr<sqm::HttpTransaction> makeTransaction() override { return std::make_unique<Transaction>(onSend_); }
  std::size_t requestsUnderWay() const override { return 0; }

 private:
  class Transaction : public sqm::HttpTransaction {
   public:
    explicit Transaction(const std::function<void()>& onSend) : onSend_(onSend) {}
    void setEncoding(int) override {}
    void startSession(std::string_view, std::string_view) override {}
    void sendHttpRequest(std::optional<std::string_view>, int, std::string) override { onSend_(); }
    void abortTransaction() override {}
    int httpResponseStatusCode() const override { return 0; }
    std::string_view httpResponseContent() const override { return {}; }

   private:
    const std::function<void()>& onSend_;
  };

  std::function<void()> onSend_;
};

TEST_IN_FRESH_PROCESS(QFRecordUploaderSending, IsInProgressBeforeTheRequestIsSent) {
  FreshHost host;
  int sent = 0;
  ObservedHttp http([&] {
    ++sent;
    EXPECT_TRUE(QFRecordUploader::sharedQFRecordUploader()->uploadInProgress());
    EXPECT_EQ(QFRecordUploader::sharedQFRecordUploader()->currentURLRequest(), requestOf("first"));
  });
  host.host.httpTransactions = &http;
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  uploader.quequeRecord("first", kUrl);
  uploader.uploadRecord();
  EXPECT_EQ(sent, 1);
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderSending, HoldsNoLockWhileARequestIsSent) {
  FreshHost host;
  int sent = 0;
  ObservedHttp http([&] {
    ++sent;
    std::thread([] { QFRecordUploader::sharedQFRecordUploader()->quequeRecord("meanwhile", kUrl); }).join();
  });
  host.host.httpTransactions = &http;
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  uploader.quequeRecord("first", kUrl);
  uploader.uploadRecord();
  EXPECT_EQ(sent, 1);
  EXPECT_EQ(uploader.recordQueue(), (UploadRequests{requestOf("first"), requestOf("meanwhile")}));
}

/// Reads the uploader's queue while it writes.
class ReadingSerializer : public sqm::testing::MemoryArchives {
 public:
  bool serializeObject(const UploadRequests& object, const std::string& toFile) override {
    EXPECT_EQ(QFRecordUploader::sharedQFRecordUploader()->recordQueue(), object);
    return MemoryArchives::serializeObject(object, toFile);
  }
};

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, LockIsRecursive) {
  FreshHost host;
  ReadingSerializer serializer;
  host.host.serializer = &serializer;
  QFRecordUploader::sharedQFRecordUploader()->quequeRecord("first", kUrl);
  EXPECT_EQ(serializer.writes().size(), 1U);
}

}  // namespace
