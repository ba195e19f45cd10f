// One post on a kept-alive connection, from `sendHttpRequest` to its notification on the main thread, compared with
// libcurl's easy interface on the caller's thread with the same server.

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <curl/curl.h>

#include "sqm/common/NotificationCenter.h"
#include "sqm/platform/http/HttpClient.h"
#include "sqm/platform/system/RunLoop.h"
#include "sqm/testing/MemoryLog.h"

#include "bench/Comparison.h"
#include "bench/LoopbackServer.h"

namespace {

/// The library's client, as a host drives it.
class Client {
 public:
  explicit Client(std::string url)
      : url_(std::move(url)),
        transaction_(http_.makeTransaction()),
        registration_(center_.addObserver(sqm::TrelkHttpTransactionCompletedNotification, transaction_.get(),
                                          [this](const sqm::Notification&) { isDone_ = true; })) {}

  bool post(std::string body) {
    isDone_ = false;
    transaction_->sendHttpRequest(url_, sqm::kHttpMethodPost, std::move(body));
    return loop_.runUntil([this] { return isDone_; }, std::chrono::seconds(10)) &&
           transaction_->httpResponseStatusCode() == 200;
  }

 private:
  const std::string url_;
  sqm::platform::RunLoop loop_;
  sqm::NotificationCenter center_;
  sqm::testing::MemoryLogs logs_;
  sqm::platform::HttpClient http_{loop_, center_, logs_};
  std::unique_ptr<sqm::HttpTransaction> transaction_;
  sqm::NotificationCenter::Registration registration_;
  bool isDone_ = false;
};

/// The least work of libcurl for a post, with the same headers.
class BareClient {
 public:
  explicit BareClient(const std::string& url)
      : handle_(curl_easy_init()),
        headers_(curl_slist_append(curl_slist_append(nullptr, "Expect:"), "Content-Type: text/plain; charset=utf-8")) {
    curl_easy_setopt(handle_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle_, CURLOPT_POST, 1L);
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle_, CURLOPT_UPLOAD_BUFFERSIZE, 512L * 1024);
  }
  BareClient(const BareClient&) = delete;
  BareClient& operator=(const BareClient&) = delete;
  ~BareClient() {
    curl_easy_cleanup(handle_);
    curl_slist_free_all(headers_);
  }

  bool post(const std::string& body) {
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDS, body.c_str());
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    long status = 0;
    return curl_easy_perform(handle_) == CURLE_OK &&
           curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status) == CURLE_OK && status == 200;
  }

 private:
  CURL* handle_;
  curl_slist* headers_;
};

/// Both clients post a copy of the body that is made outside the measured time and destroyed within it.
template <typename AnyClient>
bench::Body posting(AnyClient& client, std::size_t size) {
  return [&client, size](benchmark::State& state) {
    for (auto _ : state) {
      state.PauseTiming();
      std::string body(size, 'x');
      state.ResumeTiming();
      bench::require(client.post(std::move(body)), "a post failed");
    }
  };
}

}  // namespace

int main(int argc, char** argv) {
  constexpr std::size_t kSmall = std::size_t{1} << 10;
  constexpr std::size_t kLarge = std::size_t{16} << 20;
  bench::require(curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK, "libcurl cannot be initialised");
  // Each client has a server of its own, which serves one connection at a time and must outlive its client.
  const bench::LoopbackServer server;
  const bench::LoopbackServer serverOfBareClient;
  Client client(server.url());
  BareClient bareClient(serverOfBareClient.url());
  // Many repetitions: three threads share the processors and delay one another.
  constexpr int kMany = 300;
  bench::compare("one post/1 KB", {.aim = 2.0, .repetitions = kMany}, posting(client, kSmall),
                 posting(bareClient, kSmall));
  bench::compare("one post/16 MB", {.aim = 1.05, .repetitions = kMany}, posting(client, kLarge),
                 posting(bareClient, kLarge));
  return bench::run(argc, argv);
}
