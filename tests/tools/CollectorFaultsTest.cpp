// The collection server fails on demand, as servers and networks do, and keeps what it is sent all the same.

#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "tests/tools/CollectorClient.h"

namespace {

using nlohmann::json;

std::string post(const std::string& path) {
  return "POST " + path + " HTTP/1.1\r\nHost: localhost\r\nContent-Length: 1\r\n\r\na";
}

TEST(CollectorFaults, AnswerWithAnotherStatusAndThenAsEver) {
  CollectorClient client({"--fail", "/sqm:status=500:once", "--fail", "*:status=204:once"});
  EXPECT_EQ(client.get("/_faults"), json({"/sqm:status=500:once", "*:status=204:once"}));
  EXPECT_EQ(client.post("/sqm", ""), 500);
  EXPECT_EQ(client.post("/client", ""), 204);
  EXPECT_EQ(client.post("/sqm", ""), 200);
  EXPECT_EQ(client.get("/_faults"), json::array());
  const auto requests = client.get("/_requests");
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_EQ(requests[0].at("answered"), "500");
  EXPECT_EQ(requests[1].at("answered"), "204");
  EXPECT_EQ(requests[2].at("answered"), "200");
}

TEST(CollectorFaults, ResetTheConnectionBeforeTheAnswer) {
  CollectorClient client({"--fail", "/sqm:reset=before"});
  RawConnection raw(client.port());
  raw.send(post("/sqm"));
  EXPECT_EQ(raw.readAll(), "");
  EXPECT_TRUE(raw.isReset());
  EXPECT_EQ(client.get("/_requests")[0].at("answered"), "reset");
}

TEST(CollectorFaults, ResetTheConnectionInsideTheAnswer) {
  CollectorClient client({"--fail", "/sqm:reset=inside"});
  RawConnection raw(client.port());
  raw.send(post("/sqm"));
  const std::string answer = raw.readAll();
  EXPECT_TRUE(raw.isReset());
  EXPECT_EQ(answer.rfind("HTTP/1.1 200 OK\r\n", 0), 0U) << answer;
  EXPECT_EQ(answer.substr(answer.find("\r\n\r\n")), "\r\n\r\nke");
  EXPECT_EQ(client.get("/_requests")[0].at("answered"), "reset");
}

TEST(CollectorFaults, CutTheBodyShort) {
  CollectorClient client({"--fail", "/sqm:cut"});
  RawConnection raw(client.port());
  raw.send(post("/sqm"));
  const std::string answer = raw.readAll();
  EXPECT_FALSE(raw.isReset());
  EXPECT_NE(answer.find("Content-Length: 5\r\n"), std::string::npos) << answer;
  EXPECT_EQ(answer.substr(answer.find("\r\n\r\n")), "\r\n\r\nke");
  EXPECT_EQ(client.get("/_requests")[0].at("answered"), "cut");
}

TEST(CollectorFaults, DelayTheAnswerOfOneClientAlone) {
  CollectorClient client({"--fail", "/slow:delay=0.4", "--fail", "/slow:status=503"});
  const auto begin = std::chrono::steady_clock::now();
  RawConnection slow(client.port());
  slow.send(post("/slow"));
  EXPECT_EQ(client.post("/fast", ""), 200);
  EXPECT_EQ(slow.readUntil("\r\n").rfind("HTTP/1.1 503 ", 0), 0U);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(400));
}

TEST(CollectorFaults, AreReplacedWhileItRuns) {
  CollectorClient client({"--fail", "*:status=500"});
  EXPECT_EQ(client.post("/sqm", ""), 500);
  EXPECT_EQ(client.putFaults({"/sqm:status=418:2", "/sqm:cut"}), json({"/sqm:status=418:2", "/sqm:cut:always"}));
  EXPECT_EQ(client.post("/sqm", ""), 418);
  EXPECT_EQ(client.get("/_faults"), json({"/sqm:status=418:once", "/sqm:cut:always"}));
  EXPECT_EQ(client.putFaults(json::array()), json::array());
  EXPECT_EQ(client.post("/sqm", ""), 200);
}

TEST(CollectorFaults, ThatCannotBeReadChangeNothing) {
  CollectorClient client({"--fail", "/sqm:status=500"});
  for (const char* body :
       {"", "{}", "[1]", "\"/sqm:cut\"", "[\"/sqm:cut\"", R"(["/sqm:cut","/sqm:cut:never"])", "\xFF"}) {
    const auto answer = client.http().Put("/_faults", body, "application/json");
    EXPECT_EQ(answer->status, 400) << body;
    EXPECT_TRUE(json::parse(answer->body).contains("error")) << body;
    EXPECT_EQ(client.get("/_faults"), json({"/sqm:status=500:always"})) << body;
  }
}

TEST(CollectorFaults, DoNotHoldUpTheEnd) {
  CollectorClient client({"--fail", "*:delay=3600"});
  RawConnection waiting(client.port());
  waiting.send(post("/sqm"));
  while (client.get("/_requests").empty()) {
  }
  EXPECT_EQ(client.collector().end(), 0);
}

}  // namespace
