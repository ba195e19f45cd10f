// Bodies with gzip: what the collection server makes of them.

#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "sqm/common/HttpTransaction.h"
#include "sqm/platform/StandardHost.h"

#include "tests/platform/files/ShellCommand.h"
#include "tests/support/Bytes.h"
#include "tests/tools/CollectorClient.h"
#include "tools/collector/Gunzip.h"

namespace {

using collector::gunzip;

std::string gzipped(const std::string& text) {
  const TemporaryFolder folder;
  putContent(folder / "text", text);
  return sqm::platform::test::printedBy("gzip < '" + folder / "text" + "'");
}

int postGzip(CollectorClient& client, const std::string& body, const char* encoding = "gzip") {
  const auto answer = client.http().Post("/connection", {{"Content-Encoding", encoding}}, body, "text/xml");
  return answer ? answer->status : 0;
}

TEST(Gunzip, RestoresWhatGzipCompressed) {
  for (const std::string& text : {std::string(), std::string("a"), everyByte(), std::string(1'000'000, 'x')}) {
    EXPECT_TRUE(gunzip(gzipped(text), 1'000'000) == text) << text.size();
  }
  EXPECT_EQ(gunzip(gzipped("one ") + gzipped("two"), 7), "one two") << "two members";
}

TEST(Gunzip, MakesNoMoreThanItMay) {
  EXPECT_EQ(gunzip(gzipped("12345"), 4), std::nullopt);
  EXPECT_EQ(gunzip(gzipped("123") + gzipped("45"), 4), std::nullopt);
  EXPECT_EQ(gunzip(gzipped(repeated(" ", 20'000'000)), 1'000'000), std::nullopt);
  EXPECT_EQ(gunzip(gzipped(""), 0), "");
}

TEST(Gunzip, RejectsWhatIsNotGzip) {
  const std::string whole = gzipped("a text that is compressed");
  std::string damaged = whole;
  damaged[damaged.size() / 2] ^= 0x10;
  for (const std::string& bytes : {std::string(), std::string("plain"), whole.substr(0, whole.size() - 1), damaged,
                                   whole + "more", std::string(100, '\x1F')}) {
    EXPECT_THROW(gunzip(bytes, 1000), std::invalid_argument) << bytes.size();
  }
}

TEST(CollectorGzip, KeepsTheBodyDecoded) {
  CollectorClient client;
  EXPECT_EQ(postGzip(client, gzipped(kDocument)), 200);
  const auto request = client.get("/_requests/1");
  EXPECT_EQ(request.at("bytes"), kDocument.size());
  EXPECT_EQ(request.at("body"), kDocument);
  EXPECT_EQ(request.at("records"), 2);
  EXPECT_NE(request.at("headers").dump().find(R"(["Content-Encoding","gzip"])"), std::string::npos) << "as it was sent";
  EXPECT_EQ(client.get("/_records").size(), 2U);
}

TEST(CollectorGzip, KeepsABodyOfAnotherCodingAsItWasSent) {
  CollectorClient client;
  EXPECT_EQ(postGzip(client, kDocument, "identity"), 200);
  EXPECT_EQ(client.get("/_requests/1").at("body"), kDocument);
}

TEST(CollectorGzip, RefusesABodyThatIsTooLongWhenDecoded) {
  CollectorClient client({"--largest-body", "1"});
  EXPECT_EQ(postGzip(client, gzipped(std::string(1 << 20, 'x'))), 200);
  EXPECT_EQ(postGzip(client, gzipped(std::string((1 << 20) + 1, 'x'))), 413);
  EXPECT_EQ(postGzip(client, gzipped(repeated(" ", 20'000'000))), 413) << "a bomb";
  EXPECT_EQ(client.get("/_requests").size(), 1U);
}

TEST(CollectorGzip, KeepsABodyThatIsNotGzipAsItWasSent) {
  CollectorClient client;
  EXPECT_EQ(postGzip(client, "plain"), 200);
  EXPECT_EQ(postGzip(client, ""), 200);
  EXPECT_EQ(client.get("/_requests/1").at("body"), "plain");
  EXPECT_NE(client.get("/_requests/1").at("problem"), nullptr);
  EXPECT_EQ(client.get("/_requests").size(), 2U);
}

TEST(CollectorGzip, TakesWhatTheLibraryCompresses) {
  CollectorClient client;
  const TemporaryFolder home;
  sqm::platform::StandardHost::Options options;
  options.homeDirectory = home.path();
  options.http.gzipFrom = 1;
  sqm::platform::StandardHost host(options);
  const auto transaction = host.httpTransactions->makeTransaction();
  transaction->sendHttpRequest(client.collector().address() + "/connection", sqm::kHttpMethodPost, kDocument);
  ASSERT_TRUE(host.runUntilIdle(kPatience));
  EXPECT_EQ(transaction->httpResponseStatusCode(), 200);
  const auto request = client.get("/_requests/1");
  EXPECT_EQ(request.at("body"), kDocument);
  EXPECT_NE(request.at("headers").dump().find(R"(["Content-Encoding","gzip"])"), std::string::npos);
}

}  // namespace
