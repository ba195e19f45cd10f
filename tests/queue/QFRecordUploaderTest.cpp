#include <array>
#include <functional>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/HttpTransaction.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/testing/FakeHost.h"

#include "tests/queue/Requests.h"

namespace {

using sqm::QFRecordUploader;
using sqm::UploadRequest;
using sqm::UploadRequests;
using sqm::testing::FakeHost;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> dataOf(const UploadRequests& requests) {
  std::vector<std::string> data;
  for (const UploadRequest& request : requests) data.push_back(request.uploadData.value_or("(absent)"));
  return data;
}

/// The process's uploader and its host. Tests that run in one process share them; each starts from an empty queue.
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

TEST_F(QFRecordUploaderTest, QueuedRequestsAreInTheArchiveInOrder) {
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

/// A log that calls a function with each line.
class CallingLog : public sqm::LogFile {
 public:
  explicit CallingLog(std::function<void(const sqm::LogLine&)> onLine) : onLine_(std::move(onLine)) {}
  void write(const sqm::LogLine& line) override { onLine_(line); }

 private:
  std::function<void(const sqm::LogLine&)> onLine_;
};

TEST_F(QFRecordUploaderTest, QueueingLogsBeforeItAppends) {
  std::vector<std::size_t> lengths;
  CallingLog log([&](const sqm::LogLine&) {
    lengths.push_back(uploader_.recordQueue()->size());
    EXPECT_EQ(writes(), lengths.size() - 1);
  });
  uploader_.setLogfile(&log);
  queue({"first", "second"});
  EXPECT_THAT(lengths, ElementsAre(0, 1));
}

TEST_F(QFRecordUploaderTest, SendingLogsBeforeItTurnsInProgressAndPosts) {
  queue({"first"});
  std::vector<std::string> formats;
  CallingLog log([&](const sqm::LogLine& line) {
    formats.emplace_back(line.format);
    EXPECT_FALSE(uploader_.uploadInProgress());
    EXPECT_EQ(uploader_.currentURLRequest(), requestOf("first"));
    EXPECT_THAT(sent(), IsEmpty());
  });
  uploader_.setLogfile(&log);
  uploader_.uploadRecord();
  EXPECT_THAT(formats, ElementsAre("QFRecordUploader :: uploadRecord - sending HTTP request to URL:%@ post Data:%@"));
  EXPECT_THAT(sent(), ElementsAre("first"));
}

TEST_F(QFRecordUploaderTest, AnAnswerIsLoggedBeforeTheRequestIsRemoved) {
  queue({"first"});
  uploader_.uploadRecord();
  int lines = 0;
  CallingLog log([&](const sqm::LogLine&) {
    ++lines;
    EXPECT_TRUE(uploader_.uploadInProgress());
    EXPECT_THAT(archived(), ElementsAre("first"));
  });
  uploader_.setLogfile(&log);
  host_.http.complete(200);
  EXPECT_EQ(lines, 1);
  EXPECT_THAT(archived(), IsEmpty());
}

TEST_F(QFRecordUploaderTest, EveryLineIsForTheUserAtLevelTwo) {
  std::vector<std::string> lines;
  CallingLog log([&](const sqm::LogLine& line) {
    lines.push_back(std::string(line.info) + " " + std::to_string(line.userLevel));
  });
  uploader_.setLogfile(&log);
  queue({"first"});
  uploader_.uploadRecord();
  host_.http.complete(200);
  uploader_.setRecordQueue(UploadRequests{{}});
  uploader_.uploadRecord();
  EXPECT_THAT(lines, ElementsAre("USER 2", "USER 2", "USER 2", "USER 2"));
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

/// A way in which an upload fails.
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

TEST_F(QFRecordUploaderTest, SecondAnswerToOneRequestRemovesTheNextOne) {
  queue({"first", "second"});
  uploader_.uploadRecord();
  uploader_.uploadRecord();
  host_.http.complete(200);
  host_.http.complete(200);
  EXPECT_THAT(queued(), IsEmpty());
}

TEST_F(QFRecordUploaderTest, FailureBesideAnOlderAnswer200RemovesNothing) {
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

TEST_F(QFRecordUploaderTest, AnswerToAnotherTransactionIsIgnored) {
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

TEST_F(QFRecordUploaderTest, AbsentQueueKeepsAndSendsNothing) {
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
  uploader_.useRecordQueue([](auto& requests) { requests->push_back(requestOf("added")); });
  EXPECT_THAT(queued(), ElementsAre("set", "added"));
  EXPECT_EQ(writes(), 0U);
}

TEST_F(QFRecordUploaderTest, NoLockIsHeldWhileALineIsLogged) {
  int lines = 0;
  CallingLog log([&](const sqm::LogLine&) {
    std::thread([&] {
      uploader_.recordQueue();
      uploader_.currentURLRequest();
    }).join();
    ++lines;
  });
  uploader_.setLogfile(&log);
  queue({"first"});
  uploader_.uploadRecord();
  host_.http.complete(200);
  uploader_.setRecordQueue(UploadRequests{{}});
  uploader_.uploadRecord();
  EXPECT_EQ(lines, 4);
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

}  // namespace
