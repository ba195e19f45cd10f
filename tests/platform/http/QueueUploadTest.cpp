// The upload queue on real services: the standard host's files and HTTP, and a server on loopback.

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/HttpTransaction.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/common/TrelkConfiguration.h"
#include "sqm/platform/StandardHost.h"
#include "sqm/platform/files/ArchiveFiles.h"
#include "sqm/platform/system/RunLoop.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/platform/http/LoopbackServer.h"
#include "tests/platform/http/LoopbackSocket.h"
#include "tests/support/FreshProcess.h"
#include "tests/support/Patience.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace sqm::tests;
using namespace std::chrono_literals;
using sqm::QFRecordUploader;
using sqm::platform::StandardHost;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Then = Answer::Then;
using Strings = std::vector<std::string>;

/// The host's transactions. The first one is the uploader's.
class KeptTransactions : public sqm::HttpTransactionFactory {
 public:
  explicit KeptTransactions(sqm::HttpTransactionFactory& factory) : factory_(factory) {}

  std::unique_ptr<sqm::HttpTransaction> makeTransaction() override {
    auto made = factory_.makeTransaction();
    if (first == nullptr) first = made.get();
    return made;
  }
  std::size_t requestsUnderWay() const override { return factory_.requestsUnderWay(); }

  sqm::HttpTransaction* first = nullptr;

 private:
  sqm::HttpTransactionFactory& factory_;
};

StandardHost::Options optionsOf(const std::string& home, const sqm::platform::HttpOptions& http) {
  for (const char* const name : {"http_proxy", "all_proxy", "ALL_PROXY"}) {
    ::unsetenv(name);  // NOLINT(concurrency-mt-unsafe): no other thread runs yet
  }
  StandardHost::Options options;
  options.homeDirectory = home;
  options.http = http;
  return options;
}

/// The standard host with this home directory, and the uploader of the process.
class Sender {
 public:
  explicit Sender(const std::string& home, const sqm::platform::HttpOptions& http = {})
      : host_(optionsOf(home, http)), transactions_(*host_.httpTransactions) {
    EXPECT_TRUE(host_.makeFolders());
    host_.httpTransactions = &transactions_;
    sqm::Host::install(host_);
    uploader().setLogfile(log_.get());
  }
  Sender(const Sender&) = delete;
  Sender& operator=(const Sender&) = delete;
  ~Sender() { uploader().setLogfile(nullptr); }

  static QFRecordUploader& uploader() { return *QFRecordUploader::sharedQFRecordUploader(); }

  static void queue(std::initializer_list<const char*> all, const std::string& url) {
    for (const char* data : all) EXPECT_TRUE(uploader().quequeRecord(data, url));
  }

  /// Runs the loop until the condition holds, and then until another request has failed: every earlier outcome has been
  /// posted by then.
  void runUntil(const std::function<bool()>& condition) {
    ASSERT_TRUE(host_.runLoop().runUntil(condition, kPatience));
    bool isPosted = false;
    const auto last = host_.httpTransactions->makeTransaction();
    const auto registration = host_.notificationCenter->addObserver(
        sqm::TrelkHttpTransactionErrorNotification, last.get(), [&](const sqm::Notification&) { isPosted = true; });
    last->sendHttpRequest(std::nullopt, sqm::kHttpMethodPost, "");
    ASSERT_TRUE(host_.runLoop().runUntil([&] { return isPosted; }, kPatience));
  }

  void runUntilOutcomes(std::size_t outcomes) {
    runUntil([&] { return linesWith("httpStatus-") >= outcomes; });
    EXPECT_EQ(linesWith("httpStatus-"), outcomes);
  }

  static bool isEmpty() { return uploader().recordQueue().value().empty(); }

  void abort() const { transactions_.first->abortTransaction(); }

  std::size_t linesWith(const std::string& text) const {
    const auto lines = logs_.lines("queue");
    return static_cast<std::size_t>(std::count_if(
        lines.begin(), lines.end(), [&](const std::string& line) { return line.find(text) != std::string::npos; }));
  }

  sqm::Host& host() { return host_; }

 private:
  StandardHost host_;
  KeptTransactions transactions_;
  sqm::testing::MemoryLogs logs_;
  std::unique_ptr<sqm::LogFile> log_ = logs_.initWithFile("queue", 2);
};

std::string archiveIn(const TemporaryFolder& home) {
  return home / "Library/Application Support/Trelk/Trelk Quenfa/QFRecordUploader.plist";
}

/// The bodies of the requests in the archive, which must exist.
Strings archived(const TemporaryFolder& home) {
  EXPECT_TRUE(std::filesystem::exists(archiveIn(home)));
  sqm::testing::MemoryLogs logs;
  const auto requests = sqm::platform::ArchiveFiles(logs).objectFromFile(archiveIn(home)).value();
  Strings bodies;
  for (const sqm::UploadRequest& request : requests) bodies.push_back(request.uploadData.value());
  EXPECT_THAT(logs.lines("SQMFiles.log"), IsEmpty());
  return bodies;
}

Strings bodiesAt(const LoopbackServer& server) {
  Strings bodies;
  for (const ReceivedRequest& request : server.requests()) bodies.push_back(request.body);
  return bodies;
}

TEST_IN_FRESH_PROCESS(QueueUpload, ThreeAnswers200TakeThreeRequestsInOrderAndLeaveAnEmptyArray) {
  const TemporaryFolder home;
  Sender sender(home.path());
  LoopbackServer server(response("200 OK", "kept"));
  Sender::queue({"first", "second", "third"}, server.url("/queue"));
  EXPECT_THAT(archived(home), ElementsAre("first", "second", "third"));
  EXPECT_EQ(server.connections(), 0U) << "queueing does not send";

  Sender::uploader().uploadRecord();
  sender.runUntil(Sender::isEmpty);

  EXPECT_THAT(bodiesAt(server), ElementsAre("first", "second", "third"));
  for (const ReceivedRequest& request : server.requests())
    EXPECT_TRUE(request.head.starts_with("POST /queue HTTP/1.1"));
  EXPECT_THAT(archived(home), IsEmpty());
  EXPECT_FALSE(Sender::uploader().uploadInProgress());
  EXPECT_EQ(sender.linesWith("recieved response as kept response code:200"), 3U);
}

/// A way in which an upload fails.
struct Failure {
  const char* name;
  Answer answer;
  std::chrono::milliseconds totalLimit = 1h;
  bool isAborted = false;
};

class QueueUploadFailure : public ::testing::TestWithParam<Failure> {
 protected:
  static void leavesTheRequestForTheNextUpload(const Failure& failure) {
    const TemporaryFolder home;
    Sender sender(home.path(), {.totalLimit = failure.totalLimit});
    LoopbackServer server({failure.answer, response("200 OK")});
    Sender::queue({"first", "second"}, server.url());
    const std::string before = contentOf(archiveIn(home));

    Sender::uploader().uploadRecord();
    EXPECT_TRUE(server.waitForRequests(1));
    if (failure.isAborted) sender.abort();
    sender.runUntilOutcomes(1);
    EXPECT_EQ(sender.linesWith("uploadRecord - sending"), 1U) << "nothing is retried";
    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(contentOf(archiveIn(home)), before);
    EXPECT_EQ(Sender::uploader().recordQueue()->size(), 2U);
    EXPECT_TRUE(Sender::uploader().uploadInProgress());

    Sender::uploader().uploadRecord();
    sender.runUntil(Sender::isEmpty);
    EXPECT_THAT(bodiesAt(server), ElementsAre("first", "first", "second"));
    EXPECT_THAT(archived(home), IsEmpty());
  }
};

TEST_P(QueueUploadFailure, LeavesTheRequestForTheNextUpload) {
  EXPECT_IN_FRESH_PROCESS(leavesTheRequestForTheNextUpload(GetParam()));
}

const Answer kNoAnswer = {""};

INSTANTIATE_TEST_SUITE_P(All, QueueUploadFailure,
                         ::testing::Values(Failure{"Status201", response("201 Created", "200")},
                                           Failure{"Status404", response("404 Not Found")},
                                           Failure{"Status500", response("500 Internal Server Error")},
                                           Failure{"BrokenAnswer",
                                                   {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nkept", Then::close}},
                                           Failure{"TimeOut", kNoAnswer, 1s}, Failure{"Abort", kNoAnswer, 1h, true}),
                         [](const auto& each) { return each.param.name; });

TEST_IN_FRESH_PROCESS(QueueUpload, RefusedConnectionsLeaveTheRequestWhereItIs) {
  const TemporaryFolder home;
  Sender sender(home.path());
  const Descriptor silent = boundSocket();  // does not listen
  Sender::queue({"only"}, "http://127.0.0.1:" + std::to_string(portOf(silent)) + "/");
  for (std::size_t times = 1; times <= 2; ++times) {
    Sender::uploader().uploadRecord();
    sender.runUntilOutcomes(times);
    EXPECT_EQ(sender.linesWith("uploadRecord - sending"), times) << "nothing is retried";
  }
  EXPECT_THAT(archived(home), ElementsAre("only"));
}

TEST_IN_FRESH_PROCESS(QueueUpload, OfTwoAnswersToTheOnlyRequestTheSecondIsIgnored) {
  const TemporaryFolder home;
  Sender sender(home.path());
  LoopbackServer server(response("200 OK"));
  Sender::queue({"only"}, server.url());
  Sender::uploader().uploadRecord();
  Sender::uploader().uploadRecord();
  sender.runUntilOutcomes(2);
  EXPECT_THAT(bodiesAt(server), ElementsAre("only", "only"));
  EXPECT_EQ(sender.linesWith("response code:200"), 2U);
  EXPECT_THAT(archived(home), IsEmpty());

  Sender::queue({"next"}, server.url());
  EXPECT_THAT(archived(home), ElementsAre("next"));
  Sender::uploader().uploadRecord();
  sender.runUntilOutcomes(3);
  EXPECT_THAT(bodiesAt(server), ElementsAre("only", "only", "next"));
  EXPECT_THAT(archived(home), IsEmpty());
}

TEST_IN_FRESH_PROCESS(QueueUpload, EightThreadsQueueWhileTheMainThreadSends) {
  constexpr int kThreads = 8;
  constexpr int kEach = 5;
  const TemporaryFolder home;
  Sender sender(home.path());
  LoopbackServer server(response("200 OK"));
  const std::string url = server.url();
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int each = 0; each < kEach; ++each) {
        Sender::uploader().quequeRecord(std::to_string(thread) + ":" + std::to_string(each), url);
        // An empty queue is started again, on a later task of the main thread.
        sender.host().mainThread->post([] {
          if (Sender::uploader().isIdle()) Sender::uploader().uploadRecord();
        });
      }
    });
  }
  sender.runUntil([&] { return sender.linesWith("response code:200") == kThreads * kEach; });
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(archived(home), IsEmpty());

  const Strings bodies = bodiesAt(server);
  EXPECT_EQ(bodies.size(), std::size_t{kThreads * kEach});
  std::array<int, kThreads> next{};
  for (const std::string& body : bodies) {
    EXPECT_EQ(std::stoi(body.substr(2)), next.at(std::stoul(body.substr(0, 1)))++) << body;
  }
}

TEST_IN_FRESH_PROCESS(QueueUpload, TheUploaderMayBeCreatedOnAnotherThreadWhileTheMainThreadSends) {
  const TemporaryFolder home;
  LoopbackServer server(response("200 OK"));
  StandardHost host(optionsOf(home.path(), {}));
  EXPECT_TRUE(host.makeFolders());
  sqm::Host::install(host);
  const std::string url = server.url();
  std::thread creator([&] {
    QFRecordUploader* const uploader = QFRecordUploader::sharedQFRecordUploader();
    uploader->quequeRecord("queued", url);
    host.mainThread->post([uploader] { uploader->uploadRecord(); });
  });
  for (int each = 0; each < 20; ++each) {  // like another part of the application
    const auto transaction = host.httpTransactions->makeTransaction();
    std::size_t outcomes = 0;
    const auto registration =
        host.notificationCenter->addObserver(sqm::TrelkHttpTransactionCompletedNotification, transaction.get(),
                                             [&](const sqm::Notification&) { ++outcomes; });
    transaction->startSession("other", "Other.log");
    transaction->sendHttpRequest(url, sqm::kHttpMethodPost, "other");
    EXPECT_TRUE(host.runLoop().runUntil([&] { return outcomes == 1; }, kPatience));
  }
  creator.join();
  EXPECT_TRUE(host.runLoop().runUntil([] { return QFRecordUploader::sharedQFRecordUploader()->recordQueue()->empty(); },
                                      kPatience));
  EXPECT_THAT(bodiesAt(server), ::testing::Contains("queued").Times(1));
  EXPECT_THAT(archived(home), IsEmpty());
}

/// A process that waits for the address of a server. Created before the server and its thread.
class Child {
 public:
  explicit Child(const std::function<void(const std::string& url)>& body) {
    int ends[2];
    EXPECT_EQ(::pipe(ends), 0);
    pid_ = ::fork();
    if (pid_ == 0) {
      ::close(ends[1]);
      std::string url;
      for (char byte = 0; ::read(ends[0], &byte, 1) == 1 && byte != '\n';) url.push_back(byte);
      body(url);
      ::_exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    ::close(ends[0]);
    end_ = ends[1];
  }

  /// Sends the address to the process and waits for its end. Returns its status, as `waitpid` reports it.
  int run(const std::string& url) const {
    const std::string line = url + "\n";
    EXPECT_EQ(::write(end_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    ::close(end_);
    int status = 0;
    EXPECT_EQ(::waitpid(pid_, &status, 0), pid_);
    return status;
  }

 private:
  pid_t pid_ = -1;
  int end_ = -1;
};

TEST(QueueUpload, ANewProcessSendsWhatAKilledOneLeft) {
  const TemporaryFolder home;
  const Child killed([&](const std::string& url) {
    Sender sender(home.path());
    Sender::queue({"first", "second", "third", "fourth"}, url);
    Sender::uploader().uploadRecord();
    sender.runUntil([&] { return sender.linesWith("response code:500") == 1; });
    ::raise(SIGKILL);
  });
  const Child next([&](const std::string& url) {
    Sender sender(home.path());
    Sender::queue({"fifth"}, url);
    Sender::uploader().uploadRecord();
    sender.runUntil(Sender::isEmpty);
  });

  LoopbackServer server({response("200 OK"), response("500 Internal Server Error"), response("200 OK")});
  const int end = killed.run(server.url());
  EXPECT_TRUE(WIFSIGNALED(end) && WTERMSIG(end) == SIGKILL);
  EXPECT_THAT(bodiesAt(server), ElementsAre("first", "second"));
  EXPECT_THAT(archived(home), ElementsAre("second", "third", "fourth"));

  EXPECT_EQ(next.run(server.url()), 0);
  EXPECT_THAT(bodiesAt(server), ElementsAre("first", "second", "second", "third", "fourth", "fifth"));
  EXPECT_THAT(archived(home), IsEmpty());
}

}  // namespace
