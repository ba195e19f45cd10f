// Clients that send a lot, many at once, slowly, or wrongly. The collection server serves all others meanwhile.

#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/CaseName.h"
#include "tests/tools/CollectorClient.h"

namespace {

TEST(CollectorClients, MayPostBodiesOf100Megabytes) {
  CollectorClient client({"--patience", "250"});  // a sanitizer takes its time
  const std::string body =
      "<connectionList>" + repeated("<r><a>" + std::string(1'000'000, 'x') + "</a></r>", 100) + "</connectionList>";
  EXPECT_EQ(client.post("/connection", body), 200);
  const auto request = client.get("/_requests")[0];
  EXPECT_EQ(request.at("bytes"), body.size());
  EXPECT_EQ(request.at("records"), 100);
  EXPECT_EQ(request.at("problem"), nullptr);
  EXPECT_TRUE(client.http().Get("/_requests/1/body")->body == body);
}

TEST(CollectorClients, MaySend10000RequestsAtOnce) {
  constexpr int kClients = 8;
  constexpr int kEach = 1250;
  CollectorClient client;
  std::vector<std::thread> threads;
  threads.reserve(kClients);
  for (int i = 0; i < kClients; ++i) {
    threads.emplace_back([&, i] {
      httplib::Client http("127.0.0.1", client.port());
      http.set_keep_alive(true);
      http.set_tcp_nodelay(true);
      http.set_read_timeout(kPatience);
      for (int n = 0; n < kEach; ++n) {
        const auto answer = http.Post("/connection", documentAt(i * kEach + n), "text/xml");
        if (!answer || answer->status != 200) ADD_FAILURE() << "client " << i << " is not served";
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(client.get("/_requests").size(), std::size_t{kClients * kEach});
  EXPECT_EQ(client.get("/_records").size(), std::size_t{kClients * kEach * 2});
}

TEST(CollectorClients, AreRefusedBodiesThatAreTooLong) {
  CollectorClient client({"--largest-body", "1"});
  const std::string body((1 << 20) + 1, 'a');
  EXPECT_EQ(client.post("/sqm", body.substr(1)), 200);
  EXPECT_EQ(client.post("/sqm", body), 413);

  RawConnection announced(client.port());
  announced.send(
      "POST /sqm HTTP/1.1\r\nHost: localhost\r\nExpect: 100-continue\r\nContent-Length: 99999999999\r\n\r\n");
  const std::string answer = announced.readAll();
  EXPECT_EQ(answer.rfind("HTTP/1.1 413 ", 0), 0U) << "before a byte of it was sent";
  EXPECT_NE(answer.find(R"({"error":"the body is longer than 1048576 bytes"})"), std::string::npos) << answer;

  RawConnection pieces(client.port());
  pieces.send("POST /sqm HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n100001\r\n" + body + "\r\n");
  EXPECT_EQ(pieces.readAll().rfind("HTTP/1.1 413 ", 0), 0U);

  RawConnection reading(client.port());
  reading.send("GET /_requests HTTP/1.1\r\nHost: localhost\r\nContent-Length: 99999999999\r\n\r\n");
  EXPECT_EQ(reading.readAll().rfind("HTTP/1.1 413 ", 0), 0U) << "which is no loss";

  EXPECT_EQ(client.get("/_requests").size(), 1U);
  EXPECT_EQ(client.get("/_counts").at("posts_total").at("too_long"), 3) << "the page shows it";
}

struct Broken {
  const char* name;
  std::string text;
  const char* answer;  // how it begins; empty: there is none
};

void PrintTo(const Broken& broken, std::ostream* stream) { *stream << broken.name; }

class BrokenRequest : public testing::TestWithParam<Broken> {};

// A client takes any status for the receipt of its post. So a post that is not kept gets none.
TEST_P(BrokenRequest, HarmsNobodyAndAPostOfItGetsNoStatus) {
  CollectorClient client;
  RawConnection raw(client.port());
  raw.send(GetParam().text);
  raw.finish();
  const std::string answer = raw.readAll();
  const std::string expected = GetParam().answer;
  EXPECT_EQ(expected.empty() ? answer : answer.substr(0, expected.size()), expected) << answer;
  EXPECT_EQ(client.get("/_requests"), nlohmann::json::array());
  EXPECT_EQ(client.post("/sqm", ""), 200);
}

INSTANTIATE_TEST_SUITE_P(
    Clients, BrokenRequest,
    testing::Values(
        Broken{"Nothing", "", ""}, Broken{"Noise", everyByte(), ""}, Broken{"NoMethod", "\r\n\r\n", "HTTP/1.1 400"},
        Broken{"UnknownMethod", "FETCH /sqm HTTP/1.1\r\n\r\n", "HTTP/1.1 400"},
        Broken{"NoiseInAHead", "GET /" + everyByte() + "\r\n\r\n", "HTTP/1.1 400"},
        Broken{"NoVersion", "POST /sqm\r\n\r\n", ""}, Broken{"NoPath", "POST  HTTP/1.1\r\n\r\n", ""},
        Broken{"OtherVersion", "POST /sqm HTTP/9.9\r\n\r\n", ""},
        Broken{"LongPath", "POST /" + std::string(10'000, 'a') + " HTTP/1.1\r\n\r\n", ""},
        Broken{"OtherRange", "POST /sqm HTTP/1.1\r\nRange: bytes=x\r\nContent-Length: 1\r\n\r\na", ""},
        Broken{"HeadCutOff", "POST /sqm HTTP/1.1\r\nContent-Le", ""},
        Broken{"BodyCutOff", "POST /sqm HTTP/1.1\r\nContent-Length: 10\r\n\r\nabc", ""},
        Broken{"ChunkCutOff", "POST /sqm HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n9\r\nabc", ""},
        Broken{"NoChunk", "POST /sqm HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nhello\r\n", ""},
        Broken{"OtherCoding", "POST /sqm HTTP/1.1\r\nTransfer-Encoding: gzip\r\n\r\nabc", ""},
        Broken{"NegativeLength", "POST /sqm HTTP/1.1\r\nContent-Length: -1\r\n\r\nabc", ""},
        Broken{"NoLength", "POST /sqm HTTP/1.1\r\nContent-Length: many\r\n\r\nabc", ""},
        Broken{"TwoLengths", "POST /sqm HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nabc", ""},
        Broken{"EndlessLine", "POST /" + std::string(100'000, 'a'), ""},
        Broken{"EndlessHead", "POST /sqm HTTP/1.1\r\n" + repeated("X-Y: z\r\n", 20'000), ""},
        Broken{"EndlessChunkLine",
               "POST /sqm HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n" + std::string(100'000, '0'), ""},
        Broken{"OwnPath", "POST /_requests HTTP/1.1\r\nContent-Length: 1\r\n\r\na", ""},
        Broken{"OwnPathInDisguise", "PUT /%5Frequests HTTP/1.1\r\nContent-Length: 1\r\n\r\na", ""},
        Broken{"BodyOfAGet",
               "GET /_requests HTTP/1.1\r\nContent-Length: 40\r\n\r\nPOST /sqm HTTP/1.1\r\nContent-Length: 0\r\n\r\n",
               "HTTP/1.1 200"}),
    CaseName());

TEST(CollectorClients, ThatAreSlowHoldUpNobody) {
  CollectorClient client({"--stall", "300"});
  std::vector<std::unique_ptr<RawConnection>> slow;
  for (int i = 0; i < 100; ++i) {
    slow.push_back(std::make_unique<RawConnection>(client.port()));
    slow.back()->send(i % 2 != 0 ? "POST /sqm HT" : "POST /sqm HTTP/1.1\r\nContent-Length: 10\r\n\r\nabc");
  }
  EXPECT_EQ(client.post("/sqm", ""), 200);
  slow[0]->send("defghij");
  EXPECT_EQ(slow[0]->readUntil("\r\n").rfind("HTTP/1.1 200", 0), 0U);
  EXPECT_EQ(client.collector().end(), 0) << "nor do they hold up the end";
}

TEST(CollectorClients, ThatStallAreGivenUp) {
  CollectorClient client({"--stall", "1"});
  RawConnection inHead(client.port());
  RawConnection inBody(client.port());
  inHead.send("POST /sqm HT");
  inBody.send("POST /sqm HTTP/1.1\r\nContent-Length: 10\r\n\r\nabc");
  inHead.readAll();
  inBody.readAll();
  EXPECT_EQ(client.get("/_requests"), nlohmann::json::array());
}

TEST(CollectorClients, ThatDoNotReadTheirAnswerAreGivenUp) {
  CollectorClient client({"--stall", "1", "--connections", "1"});
  client.http().set_keep_alive(false);
  client.post("/queue", repeated("a", 30'000'000));
  RawConnection deaf(client.port());
  deaf.send("GET /_requests/1/body HTTP/1.1\r\nHost: localhost\r\n\r\n");
  deaf.readUntil("\r\n");
  EXPECT_EQ(client.post("/sqm", ""), 200) << "its place is free again";
}

TEST(CollectorClients, ThatReadTheirAnswerSlowlyGetAllOfIt) {
  constexpr std::size_t kLength = 8'000'000;
  CollectorClient client({"--stall", "3"});
  EXPECT_EQ(client.post("/queue", repeated("a", kLength)), 200);
  RawConnection slow(client.port());
  slow.send("GET /_requests/1/body HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
  for (int i = 0; i < 45; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    slow.receiveSome();
  }
  const std::string answer = slow.readAll();
  EXPECT_EQ(answer.size() - answer.find("\r\n\r\n") - 4, kLength);
}

TEST(CollectorClients, BeyondTheLimitWaitForTheirTurn) {
  CollectorClient client({"--connections", "1"});
  auto first = std::make_unique<RawConnection>(client.port());
  first->send("POST /first HTTP/1.1\r\nContent-Length: 0\r\n\r\n");
  first->readUntil("kept\n");
  RawConnection second(client.port());
  second.send("POST /second HTTP/1.1\r\nContent-Length: 0\r\n\r\n");
  first.reset();
  EXPECT_EQ(second.readUntil("\r\n").rfind("HTTP/1.1 200", 0), 0U);
}

}  // namespace
