// The collection server sends events about arrivals to its watchers.

#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/tools/CollectorClient.h"

namespace {

using nlohmann::json;

/// A server-sent event.
struct Event {
  std::string name;
  std::string id;
  std::string data;
};

std::vector<Event> eventsIn(const std::string& text) {
  std::vector<Event> events;
  std::size_t at = 0;
  for (std::size_t end = 0; (end = text.find("\n\n", at)) != std::string::npos; at = end + 2) {
    Event event;
    std::istringstream lines(text.substr(at, end - at));
    for (std::string line; std::getline(lines, line);) {
      if (line.starts_with("event: ")) event.name = line.substr(7);
      if (line.starts_with("id: ")) event.id = line.substr(4);
      if (line.starts_with("data: ")) event.data = line.substr(6);
    }
    events.push_back(event);
  }
  return events;
}

/// The first events of a watcher with this path and these headers.
std::vector<Event> watch(const CollectorClient& client, const std::string& path, std::size_t count,
                         const httplib::Headers& headers = {}) {
  httplib::Client http("127.0.0.1", client.port());
  http.set_read_timeout(kPatience);
  std::string text;
  http.Get(path, headers, [&](const char* data, std::size_t size) {
    text.append(data, size);
    return eventsIn(text).size() < count;
  });
  return eventsIn(text);
}

std::vector<std::string> idsOf(const std::vector<Event>& events) {
  std::vector<std::string> ids;
  ids.reserve(events.size());
  for (const Event& event : events) ids.push_back(std::string(event.name).append(" ").append(event.id));
  return ids;
}

TEST(CollectorEvents, AreTheRequestsEachFollowedByItsRecords) {
  CollectorClient client;
  client.post("/connection", kDocument);
  client.post("/other", "a");
  client.post("/queue", "b");
  const auto events = watch(client, "/_events?since=0", 6);
  EXPECT_EQ(idsOf(events), (std::vector<std::string>{"request 1-0", "record 1-1", "record 1-2", "request 2-2",
                                                     "request 3-2", "record 3-3"}));
  EXPECT_EQ(json::parse(events[0].data), client.get("/_requests")[0]);
  EXPECT_EQ(json::parse(events[1].data), client.get("/_records/1"));
}

TEST(CollectorEvents, GoOnWhereTheWatcherWas) {
  CollectorClient client;
  for (int i = 0; i < 40; ++i) client.post("/connection", documentAt(i));
  const auto all = idsOf(watch(client, "/_events?since=0", 120));
  ASSERT_EQ(all.size(), 120U);
  for (const std::size_t known : {std::size_t{1}, std::size_t{50}, std::size_t{118}}) {
    const std::string id = all[known - 1].substr(all[known - 1].find(' ') + 1);
    const std::vector<std::string> rest(all.begin() + static_cast<std::ptrdiff_t>(known), all.end());
    EXPECT_EQ(idsOf(watch(client, "/_events", rest.size(), {{"Last-Event-ID", id}})), rest) << id;
    EXPECT_EQ(idsOf(watch(client, "/_events?since=" + id, rest.size())), rest) << id;
    EXPECT_EQ(idsOf(watch(client, "/_events?since=0", rest.size(), {{"Last-Event-ID", id}})), rest) << id;
  }
  EXPECT_EQ(idsOf(watch(client, "/_events?since=39", 3)),
            (std::vector<std::string>{"request 40-78", "record 40-79", "record 40-80"}));
}

TEST(CollectorEvents, BeginAnewWithAnotherDatabase) {
  CollectorClient client;
  client.post("/queue", "b");
  EXPECT_EQ(idsOf(watch(client, "/_events", 2, {{"Last-Event-ID", "17-40"}})),
            (std::vector<std::string>{"request 1-0", "record 1-1"}));
}

TEST(CollectorEvents, ComeWhileTheyAreWatchedFor) {
  CollectorClient client;
  client.post("/before", "a");
  RawConnection watcher(client.port());
  watcher.send("GET /_events HTTP/1.1\r\nHost: localhost\r\n\r\n");
  const std::string head = watcher.readUntil("\r\n\r\n");
  EXPECT_NE(head.find("Content-Type: text/event-stream\r\n"), std::string::npos) << head;
  client.post("/after", "b");
  EXPECT_NE(watcher.readUntil("\"/after\"").find("id: 2-0\n"), std::string::npos);
  EXPECT_EQ(watcher.readUntil("\"/after\"").find("/before"), std::string::npos) << "it asked for none of the past";
}

TEST(CollectorEvents, WithACursorThatIsNoneAreRefused) {
  CollectorClient client;
  for (const char* since : {"", "x", "-1", "1-", "1-x", "1-2-3", "99999999999999999999"}) {
    EXPECT_EQ(client.http().Get(std::string("/_events?since=") + since)->status, 400) << since;
  }
}

TEST(CollectorEvents, CarryNoMoreThanABrowserBears) {
  CollectorClient client;
  const std::string value = repeated("é", 500'000);
  client.post("/connection", "<connectionList><r><a>" + value + "</a><b>short</b></r></connectionList>");
  const auto events = watch(client, "/_events?since=0", 2);
  ASSERT_EQ(events.size(), 2U);
  const json record = json::parse(events[1].data);
  EXPECT_EQ(record.at("cut"), true);
  EXPECT_EQ(record.at("raw").get<std::string>().size(), 65536U);
  EXPECT_EQ(record.at("values")[0][1], repeated("é", 32768));
  EXPECT_EQ(record.at("values")[1][1], "short");
  EXPECT_EQ(client.get("/_records/1").at("values")[0][1], value);
}

TEST(CollectorEvents, HaveAsManyWatchersAsAreAllowed) {
  CollectorClient client({"--watchers", "2"});
  const std::string ask = "GET /_events HTTP/1.1\r\nHost: localhost\r\n\r\n";
  RawConnection first(client.port());
  first.send(ask);
  EXPECT_EQ(first.readUntil("\r\n\r\n").rfind("HTTP/1.1 200", 0), 0U);
  {
    RawConnection second(client.port());
    second.send(ask);
    EXPECT_EQ(second.readUntil("\r\n\r\n").rfind("HTTP/1.1 200", 0), 0U);
    EXPECT_EQ(client.http().Get("/_events")->status, 503);
    EXPECT_EQ(client.post("/sqm", ""), 200) << "others are served";
  }
  // The place of a watcher that disconnected becomes free soon.
  for (int status = 503; status != 200;) {
    RawConnection third(client.port());
    third.send(ask);
    status = std::stoi(third.readUntil("\r\n").substr(9));
    ASSERT_TRUE(status == 200 || status == 503);
  }
}

TEST(CollectorEvents, EndWithTheServer) {
  CollectorClient client;
  std::vector<std::unique_ptr<RawConnection>> watchers;
  for (int i = 0; i < 20; ++i) {
    watchers.push_back(std::make_unique<RawConnection>(client.port()));
    watchers.back()->send("GET /_events HTTP/1.1\r\nHost: localhost\r\n\r\n");
    watchers.back()->readUntil("\r\n\r\n");
  }
  EXPECT_EQ(client.collector().end(), 0);
  for (const auto& watcher : watchers) watcher->readAll();
}

}  // namespace
