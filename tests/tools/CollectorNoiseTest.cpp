// Requests that were changed at random. A client takes any status for the receipt of its post, so a changed post gets
// 200 and is stored, 413, or no status.

#include <cstddef>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/Bytes.h"
#include "tests/tools/CollectorClient.h"

namespace {

/// The same numbers in every run.
class Noise {
 public:
  std::size_t below(std::size_t limit) { return std::uniform_int_distribution<std::size_t>(0, limit - 1)(engine_); }

  std::string bytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) byte = static_cast<char>(below(256));
    return bytes;
  }

  /// The text with some bytes changed, removed, added, repeated or cut off.
  std::string changed(std::string text) {
    for (std::size_t changes = 1 + below(3); changes > 0 && !text.empty(); --changes) {
      const std::size_t at = below(text.size());
      const std::size_t length = 1 + below(8);
      switch (below(5)) {
        case 0:
          text[at] = bytes(1)[0];
          break;
        case 1:
          text.erase(at, length);
          break;
        case 2:
          text.insert(at, bytes(length));
          break;
        case 3:
          text.insert(at, text.substr(at, 4 * length));
          break;
        default:
          text.resize(at);
      }
    }
    return text;
  }

 private:
  // NOLINTNEXTLINE(cert-msc51-cpp,bugprone-random-generator-seed): a failure can be repeated
  std::mt19937 engine_{20261122};
};

std::size_t occurrences(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

const std::string kRequests[] = {
    "POST /queue HTTP/1.1\r\nHost: localhost\r\nContent-Length: 4\r\n\r\nabcd",
    "POST /queue HTTP/1.1\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n1\r\nd\r\n0\r\n\r\n",
    "PUT /sqm HTTP/1.1\r\nContent-Encoding: gzip\r\nExpect: 100-continue\r\nContent-Length: 4\r\n\r\nabcd",
    "GET /_records?since=0 HTTP/1.1\r\nHost: localhost\r\nRange: bytes=0-1\r\nAccept-Encoding: gzip\r\n\r\n",
};

TEST(CollectorNoise, InRequestsGetsNoFalseReceiptAndDoesNoHarm) {
  const TemporaryFolder folder;
  CollectorClient client({"--largest-body", "1"}, folder / "log");
  const auto stored = [&client] { return client.get("/_counts").at("posts_total").at("kept").get<std::size_t>(); };
  Noise noise;
  std::size_t answered = 0;
  for (int i = 0; i < 600; ++i) {
    const bool isNoise = i % 10 == 0;
    const std::string text = isNoise ? noise.bytes(1 + noise.below(300)) : noise.changed(kRequests[noise.below(4)]);
    const std::size_t before = stored();
    RawConnection raw(client.port());
    raw.send(text);
    raw.finish();
    const std::string answer = raw.readAll();
    if (text.starts_with("POST ") || text.starts_with("PUT ")) {
      const std::string status = answer.substr(0, 12);
      EXPECT_TRUE(status.empty() || status == "HTTP/1.1 200" || status == "HTTP/1.1 413" || status == "HTTP/1.1 100")
          << answer << "\nto\n"
          << text;
    }
    const std::size_t receipts = occurrences(answer, "\r\n\r\nkept\n");
    EXPECT_GE(stored(), before + receipts) << text;
    answered += receipts;
  }
  EXPECT_GT(answered, 50U) << "some changes leave a post whole";
  EXPECT_EQ(client.get("/_requests").size(), stored());
  EXPECT_EQ(client.collector().end(), 0);
}

TEST(CollectorNoise, InRequestsAboutATokenGetsNoReceipt) {
  const std::string token = "0123456789abcdef";
  const TemporaryFolder folder;
  putContent(folder / "tokens", "fleet write,read " + token + "\n");
  CollectorClient client({"--token-file", folder / "tokens"}, folder / "log");
  const std::string about[] = {"", "Authorization: Bearer " + token.substr(1) + "\r\n",
                               "Authorization: Basic Og==\r\nAuthorization: Bearer\r\n"};
  Noise noise;
  for (int i = 0; i < 300; ++i) {
    std::string text = kRequests[noise.below(4)];
    text.insert(text.find("\r\n") + 2, about[noise.below(3)]);
    text = noise.changed(text);
    RawConnection raw(client.port());
    raw.send(text);
    raw.finish();
    const std::string answer = raw.readAll();
    EXPECT_EQ(answer.find("kept"), std::string::npos) << text;
    EXPECT_FALSE(answer.starts_with("HTTP/1.1 200")) << text;
  }
  const httplib::Headers headers = {{"Authorization", "Bearer " + token}};
  EXPECT_EQ(client.http().Get("/_requests", headers)->body, "[]\n");
  EXPECT_EQ(client.http().Post("/queue", headers, "a", "text/plain")->status, 200);
}

}  // namespace
