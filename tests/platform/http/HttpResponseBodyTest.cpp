// Response bodies that are longer than the client keeps.

#include <chrono>
#include <string>

#include "sqm/manager/SQMManager.h"
#include "sqm/platform/StandardHost.h"

#include "tests/platform/http/HttpFixture.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using namespace sqm::tests;
using namespace std::chrono_literals;
using Then = Answer::Then;
using When = Answer::When;

const std::size_t kDefaultLimit = sqm::platform::HttpOptions{}.bodyLimit;

class HttpResponseBody : public HttpFixture {
 protected:
  Outcome outcomeOf(const Answer& answer) {
    const LoopbackServer server(answer);
    const auto caller = newCaller();
    caller->send(server.url());
    runUntilOutcomes(*caller, 1);
    return caller->outcomes.empty() ? Outcome{} : caller->outcomes.front();
  }

  static Outcome completed(int status, std::string content) { return {std::string(kCompleted), status, content}; }
};

TEST_F(HttpResponseBody, IsKeptUpToTheLimitAndDroppedBeyond) {
  startClient({.bodyLimit = 1000});
  const std::string kept(1000, 'x');
  EXPECT_EQ(outcomeOf(response("200 OK", kept)), completed(200, kept));
  EXPECT_EQ(outcomeOf(response("200 OK", kept + "y")), completed(200, kept));
  EXPECT_EQ(outcomeOf(response("404 Not Found", kept + std::string(100'000, 'y'))), completed(404, kept));
  EXPECT_EQ(outcomeOf({"HTTP/1.1 200 OK\r\n\r\n" + kept + "until the connection ends", Then::close}),
            completed(200, kept));
}

TEST_F(HttpResponseBody, NoneIsKeptWhenTheLimitIsZero) {
  startClient({.bodyLimit = 0});
  EXPECT_EQ(outcomeOf(response("200 OK", "stored")), completed(200, ""));
}

TEST_F(HttpResponseBody, IsKeptWholeUpToOneMebibyteByDefault) {
  const std::string kept(kDefaultLimit, 'x');
  EXPECT_EQ(kept.size(), std::size_t{1} << 20);
  EXPECT_EQ(outcomeOf(response("200 OK", kept)), completed(200, kept));
  EXPECT_EQ(outcomeOf(response("200 OK", kept + "y")), completed(200, kept));
}

TEST_F(HttpResponseBody, ThatIsBrokenOffBeyondTheLimitIsAnError) {
  startClient({.bodyLimit = 10});
  EXPECT_EQ(outcomeOf({"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n" + std::string(50, 'x'), Then::close}),
            Outcome{std::string(kError)});
}

TEST_F(HttpResponseBody, ThatNeverEndsIsEndedByTheTotalLimit) {
  startClient({.totalLimit = 200ms, .bodyLimit = 1000});
  const Outcome timeOut{std::string(kTimeOut)};
  EXPECT_EQ(outcomeOf({"HTTP/1.1 200 OK\r\n\r\n", Then::repeat, When::afterRequest, std::string(4096, 'x')}), timeOut);
  EXPECT_EQ(outcomeOf({"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", Then::repeat, When::afterRequest,
                       "4\r\nwave\r\n"}),
            timeOut);
}

TEST_F(HttpResponseBody, ThatIsLongLeavesTheConnectionInUse) {
  startClient({.bodyLimit = 10});
  const LoopbackServer server(response("200 OK", std::string(100'000, 'x')));
  const auto caller = newCaller();
  for (std::size_t times = 1; times <= 2; ++times) {
    caller->send(server.url());
    runUntilOutcomes(*caller, times);
  }
  EXPECT_EQ(server.connections(), 1U);
}

TEST(HttpResponseBodyOfAnUpload, ThatIsLongCountsAsDelivered) {
  forgetProxies();
  const TemporaryFolder home;
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = home.path();
  options.resourceDirectory = home.path();
  sqm::platform::StandardHost host(options);
  ASSERT_TRUE(host.makeFolders());
  const LoopbackServer server(response("200 OK", std::string(kDefaultLimit + 1, 'x')));
  sqm::SQMManager manager(host);
  sqm::SQMSessionParams params;
  params.setStringValue("now", 6);
  manager.setDeviceType(1);
  manager.sqmCreateStartRecord(&params);
  manager.SetSQMConnectionURL(server.url());

  manager.uploadSQM();
  ASSERT_TRUE(host.runUntilIdle(kPatience));
  manager.uploadSQM();
  ASSERT_TRUE(host.runUntilIdle(kPatience));

  const auto requests = server.requests();
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_THAT(requests[0].body, testing::HasSubstr("<connectionList>"));
  EXPECT_THAT(requests[0].body, testing::HasSubstr("(null)")) << "a record, whose names are missing";
  EXPECT_THAT(requests[1].body, testing::Not(testing::HasSubstr("(null)"))) << "the record was sent twice";
}

}  // namespace
