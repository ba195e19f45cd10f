// How exchanges end for the classes that send, with fakes.

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sqm/delivery/Outcomes.h"
#include "sqm/delivery/RefusedBodies.h"
#include "sqm/testing/FakeHost.h"

#include "tests/support/StoreFiles.h"

namespace {

using namespace sqm;
using delivery::Accept;
using delivery::Outcome;

constexpr std::string_view kCompleted = TrelkHttpTransactionCompletedNotification;
constexpr std::string_view kError = TrelkHttpTransactionErrorNotification;
constexpr std::string_view kTimeOut = TrelkHttpTransactionTimeOutNotification;
constexpr std::string_view kAborted = TrelkHttpTransactionAbortedNotification;
const std::string kFolder = std::string(kSQMFolder) + "/Refused";

TEST(OutcomeOf, TheStatusDecidesWhenOnly2xxIsAccepted) {
  const struct {
    int first;
    int last;
    Outcome outcome;
  } kExpected[] = {{0, 0, Outcome::retry},       {1, 199, Outcome::refused},   {200, 299, Outcome::delivered},
                   {300, 407, Outcome::refused}, {408, 408, Outcome::retry},   {409, 424, Outcome::refused},
                   {425, 425, Outcome::retry},   {426, 428, Outcome::refused}, {429, 429, Outcome::retry},
                   {430, 499, Outcome::refused}, {500, 599, Outcome::retry},   {600, 999, Outcome::refused}};
  int next = 0;
  for (const auto& expected : kExpected) {
    EXPECT_EQ(expected.first, next);
    for (; next <= expected.last; ++next) {
      EXPECT_EQ(outcomeOf(Accept::only2xx, {.status = next}), expected.outcome) << next;
    }
  }
}

TEST(OutcomeOf, EveryResponseDeliversWhenAnyStatusIsAccepted) {
  EXPECT_EQ(outcomeOf(Accept::anyStatus, {.status = 0}), Outcome::retry);
  for (const int status : {100, 200, 302, 404, 429, 503, 999}) {
    EXPECT_EQ(outcomeOf(Accept::anyStatus, {.status = status}), Outcome::delivered) << status;
    EXPECT_EQ(outcomeOf(Accept::anyStatus, {.status = status, .isProven = false}), Outcome::delivered) << status;
  }
}

TEST(OutcomeOf, WithoutItsProofAResponseOfACaptivePortalIsARetry) {
  for (const int status : {200, 204, 299, 302, 307, 399, 429, 511}) {
    EXPECT_EQ(outcomeOf(Accept::only2xx, {.status = status, .isProven = false}), Outcome::retry) << status;
  }
  EXPECT_EQ(outcomeOf(Accept::only2xx, {.status = 404, .isProven = false}), Outcome::refused);
}

/// A transaction of the policy over a scripted one.
class Outcomes : public ::testing::Test {
 protected:
  struct Told {
    Outcome outcome;
    int status;
    int shownStatus;
    std::string address;
    std::uint64_t bytes;
    std::string reason;
    std::chrono::seconds retryAfter;
  };
  struct Ended {
    std::string notification;
    int status;
    std::string content;

    friend bool operator==(const Ended&, const Ended&) = default;
  };

  Outcomes() { start({}); }

  void start(delivery::OutcomeRules rules) {
    registrations_.clear();
    transaction.reset();
    factory.emplace(fakes.http, fakes.notificationCenter, &refused, std::move(rules),
                    [this](const delivery::Delivery& each) {
                      EXPECT_EQ(ended.size(), told.size()) << "reported before its notification";
                      told.push_back({each.outcome, each.status, each.shownStatus, std::string(each.address),
                                      each.bytes, std::string(each.reason), each.retryAfter});
                    });
    transaction = factory->makeTransaction();
    for (const std::string_view name : {kCompleted, kError, kTimeOut, kAborted}) {
      registrations_.push_back(fakes.notificationCenter.addObserver(
          name, static_cast<const HttpTransaction*>(transaction.get()), [this](const Notification& notification) {
            ended.push_back({std::string(notification.name), transaction->httpResponseStatusCode(),
                             std::string(transaction->httpResponseContent())});
            onEnded();
          }));
    }
  }

  void send(std::string_view body = "body") {
    transaction->sendHttpRequest("http://collect/one", kHttpMethodPost, std::string(body));
  }

  Ended after(int status, std::string_view content = "answer") {
    send();
    fakes.http.complete(status, content);
    return ended.back();
  }

  sqm::testing::FakeHost fakes;
  delivery::RefusedBodies refused{fakes.host};
  std::optional<delivery::OutcomeTransactions> factory;
  std::unique_ptr<HttpTransaction> transaction;
  std::vector<Told> told;
  std::vector<Ended> ended;
  std::function<void()> onEnded = [] {};

 private:
  std::vector<NotificationCenter::Registration> registrations_;
};

TEST_F(Outcomes, EveryDeliveryShowsStatus200) {
  EXPECT_EQ(after(200), (Ended{std::string(kCompleted), 200, "answer"}));
  EXPECT_EQ(after(204, ""), (Ended{std::string(kCompleted), 200, ""}));
  EXPECT_EQ(told.back().outcome, Outcome::delivered);
  EXPECT_EQ(told.back().status, 204);
  EXPECT_EQ(told.back().shownStatus, 200);
  EXPECT_EQ(told.back().reason, "");
}

TEST_F(Outcomes, AStatusThatAsksForARetryIsAnError) {
  fakes.http.setRetryAfter(std::chrono::seconds(120));
  for (const int status : {408, 425, 429, 500, 503}) {
    EXPECT_EQ(after(status), (Ended{std::string(kError), 0, ""})) << status;
    EXPECT_EQ(told.back().outcome, Outcome::retry);
    EXPECT_EQ(told.back().status, status);
    EXPECT_EQ(told.back().shownStatus, 0);
    EXPECT_EQ(told.back().retryAfter, std::chrono::seconds(120));
  }
  EXPECT_TRUE(fakes.files.names(kFolder).empty());
}

TEST_F(Outcomes, WithoutAResponseTheNotificationStays) {
  send();
  fakes.http.fail();
  send();
  fakes.http.timeOut();
  send();
  transaction->abortTransaction();
  fakes.http.endAbort();
  EXPECT_EQ(ended, (std::vector<Ended>{
                       {std::string(kError), 0, ""}, {std::string(kTimeOut), 0, ""}, {std::string(kAborted), 0, ""}}));
  ASSERT_EQ(told.size(), 3U);
  for (const Told& each : told) EXPECT_EQ(each.outcome, Outcome::retry);
  EXPECT_EQ(told[1].reason, "time-out");
  EXPECT_EQ(told[2].reason, "aborted");
}

TEST_F(Outcomes, ARefusedBodyIsKeptWholeAndShownAsDelivered) {
  const std::string body("<?xml \0 \xFF\n", 10);
  send(body);
  fakes.http.complete(404, "no");
  EXPECT_EQ(ended.back(), (Ended{std::string(kCompleted), 200, "no"}));
  EXPECT_EQ(told.back().outcome, Outcome::refused);
  EXPECT_EQ(told.back().status, 404);
  EXPECT_EQ(told.back().address, "http://collect/one");
  EXPECT_EQ(told.back().bytes, body.size());

  const auto names = fakes.files.names(kFolder);
  ASSERT_EQ(names.size(), 1U);
  const std::string text = fakes.files.content(kFolder + "/" + names[0]).value();
  const auto kept = delivery::refusedBodyOf(text);
  ASSERT_TRUE(kept);
  EXPECT_EQ(kept->body, body);
  EXPECT_EQ(kept->status, 404);
}

TEST_F(Outcomes, ARefusedBodyThatCannotBeKeptIsARetry) {
  fakes.files.refuse(sqm::testing::MemoryFiles::Operation::write, kFolder + "/0000000001.refused");
  EXPECT_EQ(after(404), (Ended{std::string(kError), 0, ""}));
  EXPECT_EQ(told.back().outcome, Outcome::retry);
  EXPECT_TRUE(told.back().reason.starts_with("it is refused, and cannot be kept: ")) << told.back().reason;
}

TEST_F(Outcomes, WithoutAFolderARefusedBodyIsARetry) {
  delivery::OutcomeTransactions without(fakes.http, fakes.notificationCenter, nullptr, {});
  const auto other = without.makeTransaction();
  int errors = 0;
  const auto registration = fakes.notificationCenter.addObserver(
      kError, static_cast<const HttpTransaction*>(other.get()), [&](const Notification&) { ++errors; });
  other->sendHttpRequest("http://collect/one", kHttpMethodPost, "body");
  fakes.http.complete(404);
  EXPECT_EQ(errors, 1);
}

TEST_F(Outcomes, AResponseWithoutTheProofIsARetry) {
  start({.proof = {.header = "X-Collector"}});
  EXPECT_EQ(after(200).notification, kError);
  EXPECT_EQ(after(302).notification, kError);
  EXPECT_EQ(told.back().reason, "the response lacks the proof that it is the server's");
  fakes.http.setHeader("X-Collector", "1");
  EXPECT_EQ(after(200).notification, kCompleted);

  start({.proof = {.header = "X-Collector", .value = "yes"}});
  EXPECT_EQ(after(200).notification, kError);
  fakes.http.setHeader("X-Collector", "yes");
  EXPECT_EQ(after(200).notification, kCompleted);

  start({.proof = {.text = "stored"}});
  EXPECT_EQ(after(200, "<html>log in</html>").notification, kError);
  EXPECT_EQ(after(200, "it is stored.").notification, kCompleted);
}

TEST_F(Outcomes, AnyStatusPassesThroughUnchanged) {
  start({.accept = Accept::anyStatus, .proof = {.text = "stored"}});
  for (const int status : {200, 204, 302, 404, 429, 503}) {
    EXPECT_EQ(after(status), (Ended{std::string(kCompleted), status, "answer"}));
    EXPECT_EQ(told.back().outcome, Outcome::delivered);
  }
  send();
  fakes.http.fail();
  EXPECT_EQ(ended.back(), (Ended{std::string(kError), 0, ""}));
  EXPECT_TRUE(fakes.files.names(kFolder).empty());
}

TEST_F(Outcomes, AnEarlierStatusIsNotShownWhileARequestRuns) {
  after(200);
  send();
  EXPECT_EQ(transaction->httpResponseStatusCode(), 0);
  EXPECT_EQ(transaction->httpResponseContent(), "");
}

TEST_F(Outcomes, SeveralRequestsEndWithANotificationEach) {
  send("one");
  send("two");
  send("three");
  EXPECT_EQ(factory->requestsUnderWay(), 3U);
  onEnded = [&] { EXPECT_EQ(factory->requestsUnderWay(), 3 - ended.size()); };
  fakes.http.complete(200);
  fakes.http.complete(404);
  fakes.http.complete(503);
  ASSERT_EQ(ended.size(), 3U);
  EXPECT_EQ(ended[2].notification, kError);
  const std::string text = fakes.files.content(kFolder + "/0000000001.refused").value();
  EXPECT_EQ(delivery::refusedBodyOf(text)->body, "two");
}

TEST_F(Outcomes, TheOutcomeIsKnownWhileItIsReported) {
  std::vector<std::optional<Outcome>> during;
  onEnded = [&] { during.push_back(factory->reported()); };
  after(200);
  after(404);
  after(500);
  EXPECT_EQ(during, (std::vector<std::optional<Outcome>>{Outcome::delivered, Outcome::refused, Outcome::retry}));
  EXPECT_FALSE(factory->reported());
}

TEST_F(Outcomes, WhenNothingMayBeSentRequestsUnderWayAreAborted) {
  send();
  factory->setMaySend(false);
  EXPECT_EQ(fakes.http.transactions().back()->aborts(), 1);
  fakes.http.endAbort();
  EXPECT_EQ(ended.back().notification, kAborted);
}

TEST_F(Outcomes, WhenNothingMayBeSentRequestsFailUntilTheyMayBeSentAgain) {
  factory->setMaySend(false);
  send();
  EXPECT_FALSE(fakes.http.requests().back().url) << "the sender does not send a request without an address";
  fakes.http.fail();
  EXPECT_EQ(ended.back().notification, kError);
  EXPECT_EQ(told.back().outcome, Outcome::retry);
  EXPECT_EQ(told.back().reason, "sending is not allowed");
  factory->setMaySend(true);
  EXPECT_EQ(after(200).notification, kCompleted);
}

TEST_F(Outcomes, ADestroyedTransactionIsNotAborted) {
  send();
  transaction.reset();
  factory->setMaySend(false);
  EXPECT_TRUE(fakes.http.transactions().empty());
}

TEST_F(Outcomes, AHandlerMayDestroyTheTransaction) {
  for (const int status : {200, 404, 503}) {
    start({});
    onEnded = [this] { transaction.reset(); };
    EXPECT_NO_THROW(after(status));
    EXPECT_EQ(transaction, nullptr);
    EXPECT_EQ(factory->requestsUnderWay(), 0U);
  }
}

TEST_F(Outcomes, ADestroyedTransactionReportsNothing) {
  send();
  transaction.reset();
  EXPECT_EQ(factory->requestsUnderWay(), 0U);
  EXPECT_TRUE(fakes.http.transactions().empty());
  EXPECT_TRUE(told.empty());
}

TEST_F(Outcomes, TheOtherOperationsReachTheSender) {
  transaction->setEncoding(0);
  transaction->startSession("session", "file.log");
  send();
  transaction->abortTransaction();
  const auto& sender = *fakes.http.transactions().back();
  EXPECT_EQ(sender.encoding(), 0);
  EXPECT_EQ(sender.session(), "session");
  EXPECT_EQ(sender.logFile(), "file.log");
  EXPECT_EQ(sender.aborts(), 1);
  fakes.http.setHeader("X", "x");
  fakes.http.complete(200);
  EXPECT_EQ(transaction->endedRequest().url, "http://collect/one");
  EXPECT_EQ(transaction->takeRequestBody(), "body");
  EXPECT_EQ(transaction->httpResponseHeader("X"), "x");
  fakes.http.refuse();
  EXPECT_EQ(factory->makeTransaction(), nullptr);
}

}  // namespace
