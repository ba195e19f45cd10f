// Many connections at a time: they take no thread while they have no request, and keep neither posts nor readers out.

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/tools/CollectorClient.h"

namespace {

const std::string kPost = "POST /queue HTTP/1.1\r\nContent-Length: 1\r\n\r\na";
const std::string kPostWithoutItsBody = kPost.substr(0, kPost.size() - 1);

/// SQM_CONNECTIONS=10000 runs the test of many connections with that many.
std::size_t manyConnections() {
  const char* number = std::getenv("SQM_CONNECTIONS");
  return number != nullptr ? std::stoul(number) : 400;
}

using Crowd = std::vector<std::unique_ptr<RawConnection>>;

/// Opens connections and sends a text on each.
Crowd crowd(int port, std::size_t size, const std::string& text) {
  Crowd connections;
  for (std::size_t i = 0; i < size; ++i) {
    connections.push_back(std::make_unique<RawConnection>(port));
    connections.back()->send(text);
  }
  return connections;
}

TEST(CollectorCrowd, OfConnectionsLosesNothingThatWasAnswered) {
  CollectorClient client({"--connections", "20000", "--posts", "16", "--stall", "300"});
  const std::size_t each = manyConnections() / 4;
  const Crowd idle = crowd(client.port(), each, "");
  const Crowd inHead = crowd(client.port(), each, "POST /queue HT");
  const Crowd inBody = crowd(client.port(), 15, kPostWithoutItsBody);
  const Crowd posting = crowd(client.port(), each, kPost);
  const Crowd reading = crowd(client.port(), each, "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n");
  for (const auto& connection : posting) EXPECT_TRUE(connection->readUntil("kept\n").starts_with("HTTP/1.1 200 "));
  for (const auto& connection : reading) EXPECT_TRUE(connection->readUntil("</html>").starts_with("HTTP/1.1 200 "));
  EXPECT_EQ(client.get("/_requests").size(), each);
  for (const auto& connection : inBody) connection->send("a");
  for (const auto& connection : inBody) EXPECT_TRUE(connection->readUntil("kept\n").starts_with("HTTP/1.1 200 "));
  inHead.front()->send("TP/1.1\r\nContent-Length: 0\r\n\r\n");
  EXPECT_TRUE(inHead.front()->readUntil("kept\n").starts_with("HTTP/1.1 200 "));
  EXPECT_EQ(client.get("/_requests").size(), each + 16);
  EXPECT_EQ(client.collector().end(), 0);
}

TEST(CollectorCrowd, OfPostsKeepsNoReaderOut) {
  CollectorClient client({"--posts", "1", "--stall", "300"});
  const Crowd slow = crowd(client.port(), 1, kPostWithoutItsBody);
  const Crowd waiting = crowd(client.port(), 20, kPost);
  EXPECT_EQ(client.http().Get("/")->status, 200);
  EXPECT_EQ(client.get("/_requests").size(), 0U) << "one post is taken at a time";
  slow.front()->send("a");
  for (const auto& connection : waiting) EXPECT_TRUE(connection->readUntil("kept\n").starts_with("HTTP/1.1 200 "));
  EXPECT_EQ(client.get("/_requests").size(), 21U);
}

TEST(CollectorCrowd, BeyondTheLimitGivesWayToNewConnections) {
  CollectorClient client({"--connections", "10"});
  const Crowd idle = crowd(client.port(), 10, "GET / HT");
  EXPECT_EQ(client.post("/queue", "a"), 200);
  EXPECT_EQ(client.http().Get("/")->status, 200);
  EXPECT_EQ(idle.front()->readAll(), "") << "it waited longest";
  idle.back()->send("TP/1.1\r\nHost: localhost\r\n\r\n");
  EXPECT_TRUE(idle.back()->readUntil("</html>").starts_with("HTTP/1.1 200 "));
}

TEST(CollectorCrowd, OfOneAddressIsLimited) {
  CollectorClient client({"--connections-per-address", "2"});
  const Crowd two = crowd(client.port(), 2, kPost);
  for (const auto& connection : two) EXPECT_TRUE(connection->readUntil("kept\n").starts_with("HTTP/1.1 200 "));
  RawConnection third(client.port());
  EXPECT_EQ(third.readAll(), "");
  EXPECT_TRUE(third.isReset());
}

TEST(CollectorCrowd, OfRequestsOfOneAddressIsSpread) {
  CollectorClient client({"--requests-per-address", "5"});
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i < 8; ++i) EXPECT_EQ(client.post("/queue", "a"), 200);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(600))
      << "five at once, then 200 ms each";
}

}  // namespace
