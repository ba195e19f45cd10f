// What the collection server keeps of a request, and what it answers about it.

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/support/Paths.h"
#include "tests/tools/CollectorClient.h"

namespace {

using nlohmann::json;

TEST(CollectorInterface, TellsNothingToAPageOfTheWebWhoseNameLeadsHere) {
  CollectorClient client;
  const auto askedAs = [&client](const std::string& host, const std::string& line) {
    RawConnection raw(client.port());
    raw.send(line + " HTTP/1.1\r\nHost: " + host + "\r\nContent-Length: 2\r\n\r\n[]");
    raw.finish();
    return raw.readAll();
  };
  for (const char* line : {"GET /", "GET /_requests", "GET /_records", "GET /_events", "GET /_export", "GET /metrics",
                           "GET /service", "PUT /_faults"}) {
    const std::string answer = askedAs("evil.example:8080", line);
    EXPECT_TRUE(answer.starts_with("HTTP/1.1 403 ")) << line << answer;
    EXPECT_NE(answer.find("'evil.example:8080' is no name of this machine"), std::string::npos) << answer;
    EXPECT_EQ(answer.find("HTTP/1.1", 1), std::string::npos) << "the body is no request: " << answer;
  }
  for (const char* host : {"127.0.0.1", "127.0.0.1:8080", "localhost", "LocalHost:1", "[::1]:8080", "192.0.2.1", ""}) {
    EXPECT_TRUE(askedAs(host, "GET /_records").starts_with("HTTP/1.1 200 ")) << host;
  }
  EXPECT_TRUE(askedAs("collector.test", "POST /sqm").starts_with("HTTP/1.1 200 "))
      << "a client may have any name for it";
}

TEST(CollectorInterface, TellsWhatArrived) {
  CollectorClient client;
  EXPECT_EQ(client.get("/_requests"), json::array());
  EXPECT_EQ(client.get("/_records"), json::array());
  const auto answer = client.http().Post("/connection?day=1", kDocument, "text/xml; charset=utf-8");
  EXPECT_EQ(answer->status, 200);
  EXPECT_EQ(answer->body, "kept\n");
  EXPECT_EQ(answer->get_header_value("Content-Type"), "text/plain");

  const auto requests = client.get("/_requests");
  ASSERT_EQ(requests.size(), 1U);
  json request = requests[0];
  EXPECT_EQ(request.at("time").get<std::string>().size(), std::string("2026-11-21T10:00:00.123Z").size());
  request.erase("time");
  EXPECT_EQ(request, json({{"id", 1},
                           {"method", "POST"},
                           {"path", "/connection"},
                           {"query", "day=1"},
                           {"contentType", "text/xml; charset=utf-8"},
                           {"bytes", kDocument.size()},
                           {"answered", "200"},
                           {"records", 2},
                           {"duplicates", 0},
                           {"problem", nullptr}}));

  const auto records = client.get("/_records");
  ASSERT_EQ(records.size(), 2U);
  json record = records[0];
  EXPECT_EQ(record.at("time"), requests[0].at("time"));
  record.erase("time");
  const std::size_t begin = kDocument.find("<connectionRecord>");
  const std::size_t end = kDocument.find("<connectionRecord>", begin + 1);
  const auto pair = [](const char* name, const char* value) { return json::array({name, value}); };
  EXPECT_EQ(record, json({{"id", 1},
                          {"request", 1},
                          {"path", "/connection"},
                          {"type", "connection"},
                          {"subType", "wifi"},
                          {"event", "start"},
                          {"problem", nullptr},
                          {"values", json::array({pair("timestamp", "0000000000"), pair("eventTime", "2026"),
                                                  pair("event", "start"), pair("ssid", "Café & Bar")})},
                          {"raw", kDocument.substr(begin, end - begin)}}));
  EXPECT_EQ(records[1].at("event"), "stop");
  EXPECT_EQ(records[1].at("subType"), nullptr);
  EXPECT_EQ(client.get("/_records/2"), records[1]);
}

TEST(CollectorInterface, KeepsARequestWhole) {
  CollectorClient client;
  std::string everything = everyByte();
  const httplib::Headers headers = {{"X-First", "100%25"}, {"X-Second", "caf\xE9"}};
  client.http().Post("/a%20b", headers, everything, "application/octet-stream");
  const auto request = client.get("/_requests/1");
  EXPECT_EQ(request.at("path"), "/a%20b");
  EXPECT_EQ(request.at("encoding"), "base64");
  EXPECT_EQ(request.at("body").get<std::string>().size(), 344U);
  EXPECT_EQ(request.at("body").get<std::string>().substr(0, 8), "AAECAwQF");
  std::vector<std::string> kept;
  for (const auto& [name, value] : request.at("headers").get<std::vector<std::pair<std::string, std::string>>>()) {
    if (name.starts_with("X-")) kept.push_back(std::string(name).append(": ").append(value));
  }
  EXPECT_EQ(kept, (std::vector<std::string>{"X-First: 100%25", "X-Second: caf\uFFFD"}));

  const auto body = client.http().Get("/_requests/1/body");
  EXPECT_EQ(body->body, everything);
  EXPECT_EQ(body->get_header_value("Content-Type"), "application/octet-stream");
  EXPECT_EQ(body->get_header_value("X-Content-Type-Options"), "nosniff");
  EXPECT_EQ(body->get_header_value("Content-Security-Policy"), "sandbox");
}

TEST(CollectorInterface, TellsATextAsText) {
  CollectorClient client;
  for (const std::string& text : kAwkwardTexts) client.post("/queue", text, "text/plain");
  const auto requests = client.get("/_requests");
  const auto records = client.get("/_records");
  ASSERT_EQ(records.size(), std::size(kAwkwardTexts));
  for (std::size_t i = 0; i < records.size(); ++i) {
    const std::string id = std::to_string(i + 1);
    EXPECT_EQ(client.http().Get("/_requests/" + id + "/body")->body, kAwkwardTexts[i]);
    const auto request = client.get("/_requests/" + id);
    if (request.at("encoding") == "base64") continue;
    EXPECT_EQ(request.at("body"), kAwkwardTexts[i]);
    EXPECT_EQ(records[i].at("raw"), kAwkwardTexts[i]);
  }
}

struct Posted {
  const char* path;
  std::string body;
  const char* type;
};

TEST(CollectorInterface, TakesEveryKindOfPostApart) {
  const Posted posts[] = {
      {"/client", "<clientList><client><a>1</a></client></clientList>", "client"},
      {"/connection", "<connectionList><r><a>1</a></r></connectionList>", "connection"},
      {"/device", "<deviceList><r><a>1</a></r></deviceList>", "device"},
      {"/application", "<sqmList><vpn><a>1</a></vpn></sqmList>", "application"},
      {"/user-acceptance", "<userAcceptanceList><r><a>1</a></r></userAcceptanceList>", "user-acceptance"},
      {"/sqm", contentOf(paths::golden() + "/full_session.sqm"), "sqm"},
      {"/queue", "anything", "queue"},
  };
  CollectorClient client;
  for (const Posted& post : posts) EXPECT_EQ(client.post(post.path, post.body), 200);
  const auto records = client.get("/_records");
  ASSERT_EQ(records.size(), std::size(posts));
  for (std::size_t i = 0; i < records.size(); ++i) {
    EXPECT_EQ(records[i].at("type"), posts[i].type);
    EXPECT_EQ(records[i].at("path"), posts[i].path);
    EXPECT_EQ(records[i].at("request"), i + 1);
  }
}

TEST(CollectorInterface, FlagsWhatIsNotWellFormedAndKeepsItAllTheSame) {
  CollectorClient client;
  const std::string body = "<connectionList><r><a>1 < 2</a></r><r><a>3</a></r></connectionList>";
  EXPECT_EQ(client.post("/connection", body), 200);
  const auto request = client.get("/_requests/1");
  EXPECT_EQ(request.at("records"), 2);
  EXPECT_NE(request.at("problem").get<std::string>().find("record 1: it is not well-formed"), std::string::npos);
  EXPECT_EQ(request.at("body"), body);
  EXPECT_EQ(client.get("/_records")[0].at("raw"), "<r><a>1 < 2</a></r>");
}

TEST(CollectorInterface, KeepsWhatIsPutOrPostedAnywhere) {
  CollectorClient client;
  const std::string longPath = "/" + repeated("long/", 1000);
  EXPECT_EQ(client.post("/", ""), 200);
  EXPECT_EQ(client.post(longPath, "b"), 200);
  EXPECT_EQ(client.post("/line%0Abreak", "c"), 200);
  EXPECT_EQ(client.http().Put("/put", "d", "text/plain")->status, 200);
  const auto requests = client.get("/_requests");
  ASSERT_EQ(requests.size(), 4U);
  EXPECT_EQ(requests[1].at("path"), longPath);
  EXPECT_EQ(requests[2].at("path"), "/line%0Abreak");
  EXPECT_EQ(requests[3].at("method"), "PUT");
  EXPECT_EQ(requests[3].at("records"), 0);
}

TEST(CollectorInterface, KeepsBodiesAsTheyWereSent) {
  // None is taken apart as a form, decompressed but for gzip, or waited for.
  CollectorClient client;
  const std::string form = "--x\r\nContent-Disposition: form-data; name=\"a\"\r\n\r\n1\r\n--x--\r\n";
  EXPECT_EQ(client.post("/form", form, "multipart/form-data; boundary=x"), 200);
  EXPECT_EQ(client.http().Post("/zip", {{"Content-Encoding", "br"}}, "no brotli", "text/plain")->status, 200);
  RawConnection raw(client.port());
  raw.send(
      "POST /empty HTTP/1.1\r\nHost: localhost\r\n\r\n"
      "POST /pieces HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n1\r\nd\r\n0\r\n\r\n"
      "POST /last HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 1\r\nConnection: close\r\n\r\ne");
  raw.readAll();
  std::vector<std::string> bodies;
  for (int id = 1; id <= 5; ++id)
    bodies.push_back(client.http().Get("/_requests/" + std::to_string(id) + "/body")->body);
  EXPECT_EQ(bodies, (std::vector<std::string>{form, "no brotli", "", "abcd", "e"}));
}

TEST(CollectorInterface, TellsFromWhereItIsAskedTo) {
  CollectorClient client;
  for (int i = 0; i < 300; ++i) client.post("/connection", documentAt(i));
  const auto ids = [&](const std::string& path) {
    std::vector<int> found;
    for (const auto& row : client.get(path)) found.push_back(row.at("id"));
    return found;
  };
  EXPECT_EQ(ids("/_requests").size(), 300U);
  EXPECT_EQ(ids("/_records").size(), 600U);
  EXPECT_EQ(ids("/_requests?since=298"), (std::vector<int>{299, 300}));
  EXPECT_EQ(ids("/_requests?limit=2"), (std::vector<int>{1, 2}));
  EXPECT_EQ(ids("/_records?since=5&limit=3"), (std::vector<int>{6, 7, 8}));
  EXPECT_EQ(ids("/_records?limit=0"), std::vector<int>{});
  EXPECT_EQ(ids("/_records?since=600"), std::vector<int>{});
  for (const char* path : {"/_requests?since=-1", "/_requests?limit=x", "/_records?since=", "/_records?since=1x",
                           "/_records?limit=99999999999999999999"}) {
    const auto answer = client.http().Get(path);
    EXPECT_EQ(answer->status, 400) << path;
    EXPECT_TRUE(json::parse(answer->body).contains("error")) << path;
  }
}

TEST(CollectorInterface, SaysWhatThereIsNot) {
  CollectorClient client;
  for (const char* path :
       {"/_requests/1", "/_requests/1/body", "/_records/1", "/_requests/999999999999999999", "/_nothing",
        "/_page/nothing", "/nothing", "/_requests/x", "/_requests/99999999999999999999"}) {
    const auto answer = client.http().Get(path);
    EXPECT_EQ(answer->status, 404) << path;
    EXPECT_TRUE(json::parse(answer->body).contains("error")) << path;
  }
}

TEST(CollectorInterface, ServesItsPageGuarded) {
  CollectorClient client;
  const auto page = client.http().Get("/");
  EXPECT_EQ(page->status, 200);
  EXPECT_EQ(page->get_header_value("Content-Type"), "text/html; charset=utf-8");
  EXPECT_EQ(page->get_header_value("Content-Security-Policy"), "default-src 'self'");
  EXPECT_EQ(page->get_header_value("X-Content-Type-Options"), "nosniff");
  EXPECT_EQ(page->get_header_value("Cache-Control"), "no-cache");
}

TEST(CollectorInterface, LetsNoOtherPageReadItOrSetItsFaults) {
  CollectorClient client;
  const httplib::Headers origin = {{"Origin", "http://evil.example"}};
  for (const char* path : {"/_records", "/_requests", "/_faults", "/"}) {
    EXPECT_FALSE(client.http().Get(path, origin)->has_header("Access-Control-Allow-Origin")) << path;
  }
  auto preflight = origin;
  preflight.emplace("Access-Control-Request-Method", "PUT");
  const auto answer = client.http().Options("/_faults", preflight);
  EXPECT_NE(answer->status, 200);
  EXPECT_FALSE(answer->has_header("Access-Control-Allow-Origin"));
  EXPECT_FALSE(answer->has_header("Access-Control-Allow-Methods"));
}

}  // namespace
