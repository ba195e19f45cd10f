// Many connections at a time: they take no thread while they have no request, and keep neither posts nor readers out.

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/AskedNumber.h"
#include "tests/support/Bytes.h"
#include "tests/tools/CollectorClient.h"

namespace {

const std::string kPost = "POST /queue HTTP/1.1\r\nContent-Length: 1\r\n\r\na";
const std::string kPostWithoutItsBody = kPost.substr(0, kPost.size() - 1);

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
  const std::size_t each = askedNumber("SQM_CONNECTIONS", 400) / 4;
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

TEST(CollectorCrowd, OfAnnouncementsTakesNoRoomFromWhatIsShort) {
  CollectorClient client({"--posts", "16", "--in-flight", "1", "--stall", "300"});
  const std::string body = repeated("a", 1'000'000);
  const Crowd announcing =
      crowd(client.port(), 8, "POST /queue HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\na");
  EXPECT_EQ(client.post("/queue", repeated("a", 30'000)), 200) << "within its share of 32 KiB";
  for (const auto& connection : announcing) connection->send(body.substr(1));
  for (const auto& connection : announcing) EXPECT_TRUE(connection->readUntil("kept\n").starts_with("HTTP/1.1 200 "));
}

/// Does something again and again while it exists.
class Meanwhile {
 public:
  explicit Meanwhile(const std::function<void()>& act)
      : thread_([this, act] {
          while (!isOver_) {
            act();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
          }
        }) {}
  Meanwhile(const Meanwhile&) = delete;
  Meanwhile& operator=(const Meanwhile&) = delete;
  ~Meanwhile() {
    isOver_ = true;
    thread_.join();
  }

 private:
  std::atomic<bool> isOver_ = false;
  std::thread thread_;
};

TEST(CollectorCrowd, OfSlowPostsGivesWayToThoseThatWait) {
  CollectorClient client({"--posts", "2", "--stall", "1"});
  const Crowd slow = crowd(client.port(), 2, "POST /queue HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n");
  const Meanwhile sending([&slow] {
    for (const auto& connection : slow) connection->send("a");
  });
  EXPECT_EQ(client.post("/queue", "a"), 200);
}

TEST(CollectorCrowd, OfSlowPostsIsServedWhenNobodyWaits) {
  CollectorClient client({"--posts", "1", "--stall", "3"});
  RawConnection slow(client.port());
  slow.send("POST /queue HTTP/1.1\r\nContent-Length: 30\r\n\r\n");
  for (int i = 0; i < 30; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(120));
    slow.send("a");
  }
  EXPECT_TRUE(slow.readUntil("kept\n").starts_with("HTTP/1.1 200 "));
}

TEST(CollectorCrowd, OfSlowReadersKeepsNoReaderOut) {
  CollectorClient client({"--watchers", "0", "--stall", "1"});
  const std::string record = "<r><a>" + std::string(1000, 'x') + "</a></r>";
  EXPECT_EQ(client.post("/connection", "<connectionList>" + repeated(record, 15'000) + "</connectionList>"), 200);
  const Crowd slow = crowd(client.port(), 64, "GET /_export HTTP/1.1\r\nHost: localhost\r\n\r\n");
  for (const auto& connection : slow) connection->readUntil("\r\n\r\n");
  const Meanwhile reading([&slow] {
    for (const auto& connection : slow) connection->receiveSome();
  });
  EXPECT_EQ(client.http().Get("/")->status, 200);
  EXPECT_EQ(client.post("/queue", "a"), 200);
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
