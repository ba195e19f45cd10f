// The command line of the collection server, and how it begins and ends.

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/tools/CollectorClient.h"

namespace {

const std::string kCollector = kPrograms + "/sqm-collector";

TEST(CollectorOptions, AreAllExplained) {
  const Outcome outcome = runProgram({kCollector, "--help"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "");
  for (const char* option : {"--port",
                             "--listen",
                             "--database",
                             "--fail",
                             "--quiet",
                             "--keep",
                             "--keep-days",
                             "migrate",
                             "--patience",
                             "--in-flight",
                             "--no-sync",
                             "--largest-body",
                             "--connections",
                             "--posts",
                             "--connections-per-address",
                             "--requests-per-address",
                             "--watchers",
                             "--stall",
                             "--request-time",
                             "8080",
                             "temporary"}) {
    EXPECT_NE(outcome.out.find(option), std::string::npos) << option;
  }
}

struct BadLine {
  std::vector<std::string> arguments;
  const char* says;
};

TEST(CollectorOptions, AreRejectedWithAReason) {
  const BadLine lines[] = {
      {{"--port", "65536"}, "--port"},
      {{"--port", "-1"}, "--port"},
      {{"--port", "http"}, "--port"},
      {{"--port"}, "--port"},
      {{"--fail", "/sqm:explode"}, "--fail: the fault rule '/sqm:explode' names no fault"},
      {{"--fail", "/sqm:cut", "--fail", "/sqm:status=9"}, "has a status that is none from 200 to 599"},
      {{"--keep", "-1"}, "--keep"},
      {{"--keep-days", "401"}, "--keep-days"},
      {{"--patience", "0"}, "--patience"},
      {{"--in-flight", "0"}, "--in-flight"},
      {{"--largest-body", "0"}, "--largest-body"},
      {{"--largest-body", "901"}, "--largest-body"},
      {{"--connections", "0"}, "--connections"},
      {{"--posts", "0"}, "--posts"},
      {{"--connections-per-address", "-1"}, "--connections-per-address"},
      {{"--requests-per-address", "many"}, "--requests-per-address"},
      {{"--watchers", "many"}, "--watchers"},
      {{"--stall", "0"}, "--stall"},
      {{"--request-time", "soon"}, "--request-time"},
      {{"--tls-certificate", "file"}, "--tls-key"},
      {{"--tls-key", "file"}, "--tls-certificate"},
      {{"--loud"}, "--loud"},
      {{"file.db"}, "file.db"},
  };
  for (const BadLine& line : lines) {
    std::vector<std::string> words = {kCollector};
    words.insert(words.end(), line.arguments.begin(), line.arguments.end());
    const Outcome outcome = runProgram(words);
    EXPECT_EQ(outcome.status, 2) << line.says;
    EXPECT_EQ(outcome.out, "") << line.says;
    EXPECT_NE(outcome.err.find(line.says), std::string::npos) << outcome.err;
  }
}

TEST(CollectorOptions, NoSecondServerTakesThePort) {
  const CollectorClient first;
  const Outcome second = runProgram({kCollector, "--port", std::to_string(first.port())});
  EXPECT_EQ(second.status, 1);
  EXPECT_EQ(second.out, "");
  EXPECT_NE(second.err.find("cannot listen on port " + std::to_string(first.port())), std::string::npos) << second.err;
}

TEST(CollectorOptions, AnAddressThatIsNotTheMachinesOwnIsAFailure) {
  const Outcome outcome = runProgram({kCollector, "--port", "0", "--listen", "192.0.2.1", "--open"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("192.0.2.1"), std::string::npos) << outcome.err;
}

TEST(CollectorOptions, ListensWhereItIsTold) {
  const Collector here({"--listen", "127.0.0.2"});
  EXPECT_EQ(here.address().rfind("http://127.0.0.2:", 0), 0U) << here.address();
  httplib::Client client(here.address());
  client.set_read_timeout(kPatience);
  EXPECT_EQ(client.Get("/_requests")->status, 200);
}

TEST(CollectorOptions, IsAskedByAnyNameWhereOthersReachIt) {
  const Collector here({"--listen", "0.0.0.0", "--open"});
  httplib::Client client("127.0.0.1", here.port());
  client.set_read_timeout(kPatience);
  EXPECT_EQ(client.Get("/_requests", {{"Host", "build-server:8080"}})->status, 200);
}

TEST(CollectorOptions, PrintsItsAddressAndThenALineForEachRequest) {
  tools::Process collector({kCollector, "--port", "0"}, /*readsOutput=*/true);
  std::string address = collector.readLine();
  address.pop_back();
  httplib::Client client(address);
  client.set_read_timeout(kPatience);
  client.Post("/connection", kDocument, "text/xml");
  EXPECT_EQ(collector.readLine(),
            "1  POST /connection  " + std::to_string(kDocument.size()) + " bytes  2 records  200");
  client.Put("/x%1B%5B31m\x1B[31m", "a", "text/plain");
  EXPECT_EQ(collector.readLine(), "2  PUT /x%1B%5B31m?[31m  1 bytes  0 records  200")
      << "nothing for the terminal to obey";
  collector.terminate();
  EXPECT_EQ(collector.wait(), 0);
  EXPECT_EQ(collector.readLine(), "");
}

TEST(CollectorOptions, QuietPrintsTheAddressAlone) {
  tools::Process collector({kCollector, "--port", "0", "--quiet"}, /*readsOutput=*/true);
  std::string address = collector.readLine();
  address.pop_back();
  httplib::Client client(address);
  client.set_read_timeout(kPatience);
  client.Post("/connection", kDocument, "text/xml");
  collector.terminate();
  EXPECT_EQ(collector.wait(), 0);
  EXPECT_EQ(collector.readLine(), "");
  EXPECT_TRUE(collector.isAtEnd());
}

TEST(CollectorOptions, KeepsTheLatestRequestsAlone) {
  CollectorClient client({"--keep", "2"});
  int time = 0;
  for (const char* path : {"/a", "/connection", "/b", "/c"}) EXPECT_EQ(client.post(path, documentAt(++time)), 200);
  const auto requests = client.get("/_requests");
  ASSERT_EQ(requests.size(), 2U);
  EXPECT_EQ(requests[0].at("id"), 3);
  EXPECT_EQ(client.get("/_records").size(), 4U);
  EXPECT_EQ(client.http().Get("/_requests/2")->status, 404);
}

}  // namespace
