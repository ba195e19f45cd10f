#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/common/HttpTransaction.h"
#include "sqm/common/NotificationCenter.h"

namespace sqm::testing {

/// Transactions that send nothing: they record their requests, and the test decides how each request ends.
///
/// Ownership: must outlive the transactions that it makes.
/// Threading: one thread; the outcomes are posted from inside `complete`, `fail`, `timeOut` and `endAbort`.
class ScriptedHttp : public HttpTransactionFactory {
 public:
  struct Request {
    std::optional<std::string> url;
    int method;
    std::string data;
  };

  class Transaction;

  explicit ScriptedHttp(NotificationCenter& center) : center_(center) {}

  std::unique_ptr<HttpTransaction> makeTransaction() override;
  std::size_t requestsUnderWay() const override;

  /// From now on `makeTransaction` returns null.
  void refuse() { isRefusing_ = true; }

  /// The requests of all transactions, in order.
  const std::vector<Request>& requests() const { return requests_; }

  /// The transactions that exist, in the order in which they were made.
  const std::vector<Transaction*>& transactions() const { return transactions_; }

  // Each ends the oldest request of the transaction that was made last.
  void complete(int status, std::string_view content = "");
  void fail();
  void timeOut();
  void endAbort();

  /// The responses from now on have this header.
  void setHeader(std::string_view name, std::string_view value) { headers_.insert_or_assign(std::string(name), value); }

  /// The responses from now on ask for this pause.
  void setRetryAfter(std::chrono::seconds pause) { retryAfter_ = pause; }

 private:
  NotificationCenter& center_;
  std::vector<Request> requests_;
  std::vector<Transaction*> transactions_;
  bool isRefusing_ = false;
  std::map<std::string, std::string, std::less<>> headers_;
  std::chrono::seconds retryAfter_{0};
};

class ScriptedHttp::Transaction : public HttpTransaction {
 public:
  explicit Transaction(ScriptedHttp& http);
  ~Transaction() override;

  void setEncoding(int encoding) override { encoding_ = encoding; }
  void startSession(std::string_view session, std::string_view logFile) override;
  void sendHttpRequest(std::optional<std::string_view> url, int withMethod, std::string data) override;
  void abortTransaction() override { ++aborts_; }
  int httpResponseStatusCode() const override { return status_; }
  std::string_view httpResponseContent() const override { return content_; }
  EndedRequest endedRequest() const override;
  std::optional<std::string> takeRequestBody() override;
  std::optional<std::string_view> httpResponseHeader(std::string_view name) const override;

  std::optional<int> encoding() const { return encoding_; }
  const std::string& session() const { return session_; }
  const std::string& logFile() const { return logFile_; }
  int aborts() const { return aborts_; }
  std::size_t requestsUnderWay() const { return underWay_.size(); }

  /// Ends a request: posts the notification `name`. A completed request sets the status and the content.
  void end(std::string_view name, int status = 0, std::string_view content = "");

 private:
  ScriptedHttp& http_;
  std::optional<int> encoding_;
  std::string session_;
  std::string logFile_;
  int aborts_ = 0;
  std::deque<std::size_t> underWay_;  // indexes of the factory's requests
  std::optional<std::size_t> ended_;
  int status_ = 0;
  std::string content_;
};

}  // namespace sqm::testing
