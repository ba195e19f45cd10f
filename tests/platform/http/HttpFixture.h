#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sqm/common/HttpTransaction.h"
#include "sqm/common/NotificationCenter.h"
#include "sqm/platform/http/HttpClient.h"
#include "sqm/platform/system/RunLoop.h"
#include "sqm/testing/MemoryLog.h"

#include "tests/platform/http/LoopbackServer.h"
#include "tests/support/Patience.h"

namespace sqm::tests {

inline constexpr std::string_view kCompleted = TrelkHttpTransactionCompletedNotification;
inline constexpr std::string_view kError = TrelkHttpTransactionErrorNotification;
inline constexpr std::string_view kTimeOut = TrelkHttpTransactionTimeOutNotification;
inline constexpr std::string_view kAborted = TrelkHttpTransactionAbortedNotification;

/// A notification of a transaction, and the transaction's status and content inside the handler.
struct Outcome {
  std::string notification;
  int status = 0;
  std::string content = {};

  friend bool operator==(const Outcome&, const Outcome&) = default;
  friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    return out << "{" << outcome.notification << ", " << outcome.status << ", " << outcome.content.substr(0, 80) << "}";
  }
};

/// A run loop that counts the posted tasks and can refuse them.
class WatchedMainThread : public MainThread {
 public:
  explicit WatchedMainThread(MainThread& loop) : loop_(loop) {}

  void post(Task task) override {
    const std::lock_guard lock(mutex_);
    if (refusals_ > 0) {
      --refusals_;
      throw std::runtime_error("no more tasks");
    }
    loop_.post(std::move(task));
    ++posts_;
    changed_.notify_all();
  }

  void refuse(int times) {
    const std::lock_guard lock(mutex_);
    refusals_ = times;
  }

  int refusalsLeft() {
    const std::lock_guard lock(mutex_);
    return refusals_;
  }

  /// Blocks until this many tasks have been posted. Returns false when they are not.
  bool waitForPosts(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, kPatience, [&] { return posts_ >= count; });
  }

 private:
  MainThread& loop_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::size_t posts_ = 0;
  int refusals_ = 0;
};

/// A transaction and its outcomes. A notification on the wrong thread or inside `send` fails the test.
class Caller {
 public:
  Caller(HttpTransactionFactory& factory, NotificationCenter& notifications) : transaction(factory.makeTransaction()) {
    for (const std::string_view name : {kCompleted, kError, kTimeOut, kAborted}) {
      registrations_.push_back(notifications.addObserver(
          name, transaction.get(), [this](const Notification& notification) { addOutcome(notification); }));
    }
  }
  Caller(const Caller&) = delete;
  Caller& operator=(const Caller&) = delete;

  void send(std::optional<std::string_view> url, std::string body = "body", int method = kHttpMethodPost) {
    sending_ = true;
    transaction->sendHttpRequest(url, method, std::move(body));
    sending_ = false;
  }

  std::unique_ptr<HttpTransaction> transaction;
  std::vector<Outcome> outcomes;
  std::function<void()> onOutcome = [] {};

 private:
  void addOutcome(const Notification& notification) {
    EXPECT_EQ(std::this_thread::get_id(), mainThread_);
    EXPECT_FALSE(sending_);
    EXPECT_EQ(notification.object, transaction.get());
    outcomes.push_back({std::string(notification.name), transaction->httpResponseStatusCode(),
                        std::string(transaction->httpResponseContent())});
    onOutcome();
  }

  const std::thread::id mainThread_ = std::this_thread::get_id();
  bool sending_ = false;
  std::vector<NotificationCenter::Registration> registrations_;
};

/// Removes the proxies from the environment. Call it before any client runs.
inline void forgetProxies() {
  for (const char* const name :
       {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
    ::unsetenv(name);  // NOLINT(concurrency-mt-unsafe): no client runs yet
  }
}

/// A client and its services, without the proxies of the environment.
class HttpFixture : public ::testing::Test {
 protected:
  using HttpOptions = platform::HttpOptions;

  HttpFixture() {
    forgetProxies();
    startClient({});
  }

  void startClient(const HttpOptions& options) {
    client.emplace(mainThread, notifications, logs, options);
    last.emplace(*client, notifications);
  }

  std::unique_ptr<Caller> newCaller() { return std::make_unique<Caller>(*client, notifications); }

  /// Runs the loop until the caller has this many outcomes, and then until no request has another one.
  void runUntilOutcomes(const Caller& caller, std::size_t times) {
    ASSERT_TRUE(loop.runUntil([&] { return caller.outcomes.size() >= times; }, kPatience));
    runUntilIdle();
    EXPECT_EQ(caller.outcomes.size(), times);
  }

  /// Runs the loop until a new request has ended: all that the HTTP thread posted before has been run then.
  void runUntilIdle() {
    last->outcomes.clear();
    last->send(std::nullopt);
    ASSERT_TRUE(loop.runUntil([&] { return !last->outcomes.empty(); }, kPatience));
    EXPECT_EQ(last->outcomes, std::vector{Outcome{std::string(kError)}});
  }

  platform::RunLoop loop;
  WatchedMainThread mainThread{loop};
  NotificationCenter notifications;
  sqm::testing::MemoryLogs logs;
  std::optional<platform::HttpClient> client;
  std::optional<Caller> last;  // made first: no destroyed transaction had its address
};

}  // namespace sqm::tests
