#include <array>
#include <functional>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/HttpTransaction.h"
#include "sqm/common/KeyedCoder.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/testing/FakeHost.h"
#include "sqm/testing/MemoryCoder.h"

#include "tests/support/FreshProcess.h"

namespace {

using sqm::QFRecordUploader;
using sqm::UploadRequest;
using sqm::UploadRequests;
using sqm::testing::FakeHost;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr const char* kArchive = "/home/tester/application/QFRecordUploader.plist";
constexpr const char* kUrl = "https://collect.example/q";

UploadRequest requestOf(const std::string& data) { return {kUrl, data}; }

std::vector<std::string> dataOf(const UploadRequests& requests) {
  std::vector<std::string> data;
  for (const UploadRequest& request : requests) data.push_back(request.uploadData.value_or("(absent)"));
  return data;
}

/// The process's uploader and its host, which the tests share when they run in one process; each finds them as if new.
class QFRecordUploaderTest : public ::testing::Test {
 protected:
  QFRecordUploaderTest()
      : uploader_(*QFRecordUploader::sharedQFRecordUploader()), log_(logs_.initWithFile("uploader", 2)) {
    uploader_.setLogfile(log_.get());
    uploader_.setRecordQueue(UploadRequests{});
    uploader_.setCurrentURLRequest(std::nullopt);
    uploader_.setUploadInProgress(false);
  }
  void TearDown() override { uploader_.setLogfile(nullptr); }

  static FakeHost& installedHost() {
    static FakeHost& host = *[] {
      auto* made = new FakeHost;  // never destroyed, like the uploader that uses it
      sqm::Host::install(made->host);
      return made;
    }();
    host.mainThread.runAll();
    host.archives.clear();
    return host;
  }

  void queue(std::initializer_list<const char*> all) {
    for (const char* data : all) EXPECT_TRUE(uploader_.quequeRecord(data, kUrl));
  }

  /// The data that this test's requests carried.
  std::vector<std::string> sent() const {
    std::vector<std::string> data;
    for (std::size_t at = sentBefore_; at < host_.http.requests().size(); ++at) {
      data.push_back(host_.http.requests()[at].data);
    }
    return data;
  }

  std::vector<std::string> queued() const { return dataOf(uploader_.recordQueue().value()); }
  std::vector<std::string> archived() const { return dataOf(host_.archives.file(kArchive).value()); }
  std::size_t writes() const { return host_.archives.writes().size(); }

  FakeHost& host_ = installedHost();
  QFRecordUploader& uploader_;
  sqm::testing::MemoryLogs logs_;
  std::unique_ptr<sqm::LogFile> log_;
  const std::size_t sentBefore_ = host_.http.requests().size();
};

TEST_F(QFRecordUploaderTest, QueuedRequestsStandInTheArchiveInOrder) {
  EXPECT_TRUE(uploader_.quequeRecord("first", "https://one.example/"));
  EXPECT_TRUE(uploader_.quequeRecord("second", "https://two.example/"));
  const UploadRequests both = {{"https://one.example/", "first"}, {"https://two.example/", "second"}};
  EXPECT_EQ(uploader_.recordQueue(), both);
  EXPECT_EQ(host_.archives.file(kArchive), both);
  EXPECT_EQ(writes(), 2U);
}

TEST_F(QFRecordUploaderTest, MissingDataOrAddressLeavesQueueAndArchive) {
  queue({"first"});
  EXPECT_FALSE(uploader_.quequeRecord("data", std::nullopt));
  EXPECT_FALSE(uploader_.quequeRecord(std::nullopt, kUrl));
  EXPECT_FALSE(uploader_.quequeRecord(std::nullopt, std::nullopt));
  EXPECT_THAT(queued(), ElementsAre("first"));
  EXPECT_EQ(writes(), 1U);
  EXPECT_EQ(logs_.lines("uploader").size(), 1U);
}

TEST_F(QFRecordUploaderTest, EmptyTextsAreNotMissing) {
  EXPECT_TRUE(uploader_.quequeRecord("", ""));
  uploader_.uploadRecord();
  EXPECT_THAT(sent(), ElementsAre(""));
}

TEST_F(QFRecordUploaderTest, RequestHoldsCopiesOfItsTexts) {
  std::string data = "data";
  std::string url = kUrl;
  uploader_.quequeRecord(data, url);
  data = "else";
  url = "else";
  EXPECT_EQ(uploader_.recordQueue(), UploadRequests{requestOf("data")});
}

TEST_F(QFRecordUploaderTest, QueueingLogsAndDoesNotSend) {
  uploader_.quequeRecord("50 % of %@", "https://one.example/?a=%d");
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_EQ(host_.mainThread.waiting(), 0U);
  EXPECT_FALSE(uploader_.uploadInProgress());
  EXPECT_THAT(logs_.lines("uploader"),
              ElementsAre("USER 2 QFRecordUploader :: quequeRecord- saved URL:https://one.example/?a=%d "
                          "post Data:50 % of %@"));
}

TEST_F(QFRecordUploaderTest, WithoutALogItWorksSilently) {
  uploader_.setLogfile(nullptr);
  EXPECT_EQ(uploader_.logfile(), nullptr);
  queue({"first"});
  uploader_.uploadRecord();
  host_.http.complete(200);
  EXPECT_THAT(sent(), ElementsAre("first"));
  EXPECT_THAT(logs_.lines("uploader"), IsEmpty());
}

TEST_F(QFRecordUploaderTest, UploadPostsTheHeadOfTheQueue) {
  queue({"first", "second"});
  uploader_.uploadRecord();
  EXPECT_THAT(sent(), ElementsAre("first"));
  EXPECT_EQ(host_.http.requests().back().url, kUrl);
  EXPECT_EQ(host_.http.requests().back().method, 1);
  EXPECT_TRUE(uploader_.uploadInProgress());
  EXPECT_EQ(uploader_.currentURLRequest(), requestOf("first"));
  EXPECT_THAT(archived(), ElementsAre("first", "second"));
  EXPECT_EQ(logs_.lines("uploader").back(),
            "USER 2 QFRecordUploader :: uploadRecord - sending HTTP request to URL:https://collect.example/q post "
            "Data:first");
}

TEST_F(QFRecordUploaderTest, UploadOfAnEmptyQueueDoesNothing) {
  uploader_.uploadRecord();
  EXPECT_THAT(sent(), IsEmpty());
  EXPECT_FALSE(uploader_.uploadInProgress());
  EXPECT_EQ(uploader_.currentURLRequest(), std::nullopt);
  EXPECT_THAT(logs_.lines("uploader"), IsEmpty());
}

TEST_F(QFRecordUploaderTest, ThreeAnswers200DrainThreeRequestsInOrder) {
  queue({"first", "second", "third"});
  uploader_.uploadRecord();
  host_.http.complete(200);
  EXPECT_THAT(archived(), ElementsAre("second", "third"));
  host_.mainThread.runAll();
  EXPECT_THAT(archived(), ElementsAre("second", "third")) << "the request under way is not confirmed yet";
  host_.http.complete(200);
  host_.mainThread.runAll();
  host_.http.complete(200);
  host_.mainThread.runAll();
  EXPECT_THAT(sent(), ElementsAre("first", "second", "third"));
  EXPECT_THAT(archived(), IsEmpty());
  EXPECT_THAT(queued(), IsEmpty());
  EXPECT_FALSE(uploader_.uploadInProgress());
  EXPECT_EQ(writes(), 6U);
}

TEST_F(QFRecordUploaderTest, NextRequestIsSentOnALaterTurnOfTheMainThread) {
  queue({"first", "second"});
  uploader_.uploadRecord();
  host_.http.complete(200);
  EXPECT_THAT(sent(), ElementsAre("first"));
  EXPECT_FALSE(uploader_.uploadInProgress());
  EXPECT_EQ(host_.mainThread.waiting(), 1U);
  host_.mainThread.runAll();
  EXPECT_THAT(sent(), ElementsAre("first", "second"));
  EXPECT_TRUE(uploader_.uploadInProgress());
}

TEST_F(QFRecordUploaderTest, LastAnswer200SchedulesNothing) {
  queue({"first"});
  uploader_.uploadRecord();
  host_.http.complete(200);
  EXPECT_EQ(host_.mainThread.waiting(), 0U);
}

TEST_F(QFRecordUploaderTest, AnswerIsLogged) {
  queue({"first"});
  uploader_.uploadRecord();
  host_.http.complete(418, "short, %d and stout");
  EXPECT_EQ(logs_.lines("uploader").back(),
            "USER 2 QFRecordUploader :: httpStatus- recieved response as short, %d and stout response code:418");
}

/// How an upload can come to nothing.
struct Outcome {
  const char* name;
  std::function<void(sqm::testing::ScriptedHttp&)> happens;
};

class QFRecordUploaderFailure : public QFRecordUploaderTest, public ::testing::WithParamInterface<Outcome> {};

TEST_P(QFRecordUploaderFailure, LeavesTheRequestAtTheHeadForTheNextUpload) {
  queue({"first", "second"});
  uploader_.uploadRecord();
  GetParam().happens(host_.http);
  EXPECT_EQ(host_.mainThread.waiting(), 0U) << "nothing is retried";
  EXPECT_THAT(queued(), ElementsAre("first", "second"));
  EXPECT_THAT(archived(), ElementsAre("first", "second"));
  EXPECT_EQ(writes(), 2U);
  EXPECT_TRUE(uploader_.uploadInProgress());
  uploader_.uploadRecord();
  EXPECT_THAT(sent(), ElementsAre("first", "first"));
}

Outcome answer(const char* name, int status) {
  return {name, [status](sqm::testing::ScriptedHttp& http) { http.complete(status, "200"); }};
}

INSTANTIATE_TEST_SUITE_P(All, QFRecordUploaderFailure,
                         ::testing::Values(answer("Status0", 0), answer("Status100", 100), answer("Status199", 199),
                                           answer("Status201", 201), answer("Status204", 204), answer("Status301", 301),
                                           answer("Status404", 404), answer("Status500", 500),
                                           Outcome{"Error", &sqm::testing::ScriptedHttp::fail},
                                           Outcome{"TimeOut", &sqm::testing::ScriptedHttp::timeOut},
                                           Outcome{"Abort", &sqm::testing::ScriptedHttp::endAbort}),
                         [](const auto& each) { return each.param.name; });

TEST_F(QFRecordUploaderTest, SecondUploadSendsTheSameRequestAndASecondAnswerToTheLastIsIgnored) {
  queue({"only"});
  uploader_.uploadRecord();
  uploader_.uploadRecord();
  EXPECT_THAT(sent(), ElementsAre("only", "only"));
  host_.http.complete(200);
  EXPECT_THAT(archived(), IsEmpty());
  host_.http.complete(200);
  EXPECT_THAT(queued(), IsEmpty());
  EXPECT_EQ(host_.mainThread.waiting(), 0U);
  EXPECT_EQ(writes(), 2U) << "one for the request, one for its end";
}

TEST_F(QFRecordUploaderTest, SecondAnswerToOneRequestTakesTheNextOneOff) {
  queue({"first", "second"});
  uploader_.uploadRecord();
  uploader_.uploadRecord();
  host_.http.complete(200);
  host_.http.complete(200);
  EXPECT_THAT(queued(), IsEmpty());
}

TEST_F(QFRecordUploaderTest, FailureBesideAnOlderAnswer200TakesNothingOff) {
  queue({"first", "second"});
  uploader_.uploadRecord();
  uploader_.uploadRecord();
  host_.http.complete(200);
  for (const auto name : {sqm::TrelkHttpTransactionErrorNotification, sqm::TrelkHttpTransactionTimeOutNotification,
                          sqm::TrelkHttpTransactionAbortedNotification}) {
    host_.http.transactions().back()->end(name, 200);
    EXPECT_THAT(queued(), ElementsAre("second")) << name;
  }
}

TEST_F(QFRecordUploaderTest, RequestWithoutAddressOrDataStaysAndBlocks) {
  for (const UploadRequest& faulty : {UploadRequest{std::nullopt, "data"}, UploadRequest{kUrl, std::nullopt},
                                      UploadRequest{std::nullopt, std::nullopt}}) {
    const UploadRequests all = {faulty, requestOf("sound")};
    uploader_.setRecordQueue(all);
    uploader_.uploadRecord();
    uploader_.uploadRecord();
    EXPECT_THAT(sent(), IsEmpty());
    EXPECT_FALSE(uploader_.uploadInProgress());
    EXPECT_EQ(uploader_.currentURLRequest(), faulty);
    EXPECT_EQ(uploader_.recordQueue(), all);
    EXPECT_EQ(logs_.lines("uploader").back(), "USER 2 QFRecordUploader :: uploadRecord - URL or post data is empty");
  }
}

TEST_F(QFRecordUploaderTest, AnswerToAnotherTransactionIsNotItsBusiness) {
  queue({"first"});
  uploader_.uploadRecord();
  const auto other = host_.http.makeTransaction();
  host_.http.complete(200);
  EXPECT_THAT(queued(), ElementsAre("first"));
  EXPECT_EQ(logs_.lines("uploader").size(), 2U);
}

TEST_F(QFRecordUploaderTest, ArchiveThatCannotBeWrittenLeavesTheQueueInMemory) {
  queue({"first"});
  host_.archives.refuseWriting(kArchive);
  queue({"second"});
  EXPECT_THAT(queued(), ElementsAre("first", "second"));
  EXPECT_THAT(archived(), ElementsAre("first"));
  uploader_.uploadRecord();
  host_.http.complete(200);
  EXPECT_THAT(queued(), ElementsAre("second"));
}

TEST_F(QFRecordUploaderTest, QueueThatIsNothingKeepsAndSendsNothing) {
  uploader_.setRecordQueue(std::nullopt);
  queue({"lost"});
  EXPECT_EQ(uploader_.recordQueue(), std::nullopt);
  EXPECT_EQ(writes(), 0U);
  uploader_.uploadRecord();
  EXPECT_THAT(sent(), IsEmpty());
  host_.http.complete(200);
  EXPECT_EQ(host_.mainThread.waiting(), 0U);
  EXPECT_EQ(writes(), 0U);
}

TEST_F(QFRecordUploaderTest, PropertiesAreWhatWasSet) {
  uploader_.setCurrentURLRequest(requestOf("current"));
  EXPECT_EQ(uploader_.currentURLRequest(), requestOf("current"));
  uploader_.setUploadInProgress(true);
  EXPECT_TRUE(uploader_.uploadInProgress());
  EXPECT_EQ(uploader_.logfile(), log_.get());
  uploader_.setRecordQueue(UploadRequests{requestOf("set")});
  EXPECT_THAT(queued(), ElementsAre("set"));
  EXPECT_EQ(writes(), 0U);
}

TEST_F(QFRecordUploaderTest, ThereIsOneInTheProcessAndItStays) {
  EXPECT_EQ(QFRecordUploader::sharedQFRecordUploader(), &uploader_);
  EXPECT_EQ(QFRecordUploader::alloc(), nullptr);
  EXPECT_EQ(uploader_.copy(), &uploader_);
  EXPECT_EQ(uploader_.retain(), &uploader_);
  EXPECT_EQ(uploader_.autorelease(), &uploader_);
  uploader_.release();
  EXPECT_EQ(uploader_.retainCount(), 0xFFFFFFFFFFFFFFFFU);
}

/// A log that has another thread use the uploader while it writes, as a slow disk would.
class InquisitiveLog : public sqm::LogFile {
 public:
  explicit InquisitiveLog(QFRecordUploader& uploader) : uploader_(uploader) {}
  void write(const sqm::LogLine&) override {
    std::thread([&] {
      uploader_.recordQueue();
      uploader_.currentURLRequest();
    }).join();
    ++lines;
  }
  int lines = 0;

 private:
  QFRecordUploader& uploader_;
};

TEST_F(QFRecordUploaderTest, NoLockIsHeldWhileALineIsLogged) {
  InquisitiveLog log(uploader_);
  uploader_.setLogfile(&log);
  queue({"first"});
  uploader_.uploadRecord();
  host_.http.complete(200);
  uploader_.setRecordQueue(UploadRequests{{}});
  uploader_.uploadRecord();
  EXPECT_EQ(log.lines, 4);
}

TEST_F(QFRecordUploaderTest, EightThreadsQueueWhileTheMainThreadSends) {
  constexpr int kThreads = 8;
  constexpr int kEach = 25;
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int each = 0; each < kEach; ++each) {
        uploader_.quequeRecord(std::to_string(thread) + ":" + std::to_string(each), kUrl);
      }
    });
  }
  for (int confirmed = 0; confirmed < kThreads * kEach;) {
    if (!uploader_.uploadInProgress()) uploader_.uploadRecord();
    if (!uploader_.uploadInProgress()) continue;  // nothing is queued yet
    host_.http.complete(200);
    host_.mainThread.runAll();
    ++confirmed;
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(queued(), IsEmpty());
  EXPECT_THAT(archived(), IsEmpty());

  std::array<int, kThreads> next{};
  for (const std::string& data : sent()) {
    const std::size_t colon = data.find(':');
    EXPECT_EQ(std::stoi(data.substr(colon + 1)), next.at(std::stoul(data.substr(0, colon)))++) << data;
  }
  // Each archive is the one before it, with one request more at the end or one fewer at the head.
  UploadRequests expected;
  for (const UploadRequests& written : host_.archives.writes()) {
    if (written.size() > expected.size()) {
      expected.push_back(written.back());
    } else {
      expected.erase(expected.begin());
    }
    ASSERT_EQ(written, expected);
  }
}

/// A host that is installed, in a process in which there is no uploader yet.
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

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, WithoutAnArchiveTheQueueIsEmpty) {
  FreshHost host;
  EXPECT_EQ(QFRecordUploader::sharedQFRecordUploader()->recordQueue(), UploadRequests{});
  EXPECT_THAT(host.archives.writes(), IsEmpty());
}

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, WithAnArchiveThatCannotBeHadThereIsNoQueue) {
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
  EXPECT_TRUE(uploader.isIdle()) << "it came to nothing";
  EXPECT_TRUE(uploader.uploadInProgress());
  uploader.uploadRecord();
  uploader.uploadRecord();
  host.http.complete(500);
  EXPECT_FALSE(uploader.isIdle()) << "one of two is under way";
  host.http.complete(200);
  EXPECT_TRUE(uploader.isIdle()) << "all was sent";
  host.http.complete(200);
  EXPECT_TRUE(uploader.isIdle()) << "an outcome of no request counts for nothing";
  uploader.setRecordQueue(UploadRequests{{}});
  uploader.uploadRecord();
  EXPECT_TRUE(uploader.isIdle()) << "a request without address and data is not sent";
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

/// Has another thread use the uploader while a request is sent.
class InquisitiveHttp : public sqm::HttpTransactionFactory {
 public:
  class Transaction : public sqm::HttpTransaction {
   public:
    explicit Transaction(int& sent) : sent_(sent) {}
    void setEncoding(int) override {}
    void startSession(std::string_view, std::string_view) override {}
    void sendHttpRequest(std::optional<std::string_view>, int, std::string) override {
      std::thread([] { QFRecordUploader::sharedQFRecordUploader()->quequeRecord("meanwhile", kUrl); }).join();
      ++sent_;
    }
    void abortTransaction() override {}
    int httpResponseStatusCode() const override { return 0; }
    std::string_view httpResponseContent() const override { return {}; }

   private:
    int& sent_;
  };

  std::unique_ptr<sqm::HttpTransaction> makeTransaction() override { return std::make_unique<Transaction>(sent); }
  std::size_t requestsUnderWay() const override { return static_cast<std::size_t>(sent); }
  int sent = 0;
};

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, NoLockIsHeldWhileARequestIsSent) {
  FreshHost host;
  InquisitiveHttp http;
  host.host.httpTransactions = &http;
  QFRecordUploader& uploader = *QFRecordUploader::sharedQFRecordUploader();
  uploader.quequeRecord("first", kUrl);
  uploader.uploadRecord();
  EXPECT_EQ(http.sent, 1);
  EXPECT_EQ(uploader.recordQueue(), (UploadRequests{requestOf("first"), requestOf("meanwhile")}));
}

/// Looks at the uploader while it writes.
class InquisitiveSerializer : public sqm::testing::MemoryArchives {
 public:
  bool serializeObject(const UploadRequests& object, const std::string& toFile) override {
    EXPECT_EQ(QFRecordUploader::sharedQFRecordUploader()->recordQueue(), object);
    return MemoryArchives::serializeObject(object, toFile);
  }
};

TEST_IN_FRESH_PROCESS(QFRecordUploaderCreation, LockIsRecursive) {
  FreshHost host;
  InquisitiveSerializer serializer;
  host.host.serializer = &serializer;
  QFRecordUploader::sharedQFRecordUploader()->quequeRecord("first", kUrl);
  EXPECT_EQ(serializer.writes().size(), 1U);
}

}  // namespace
