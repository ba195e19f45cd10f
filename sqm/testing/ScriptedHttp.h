#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/common/HttpTransaction.h"
#include "sqm/common/NotificationCenter.h"

namespace sqm::testing {

/// Transactions that send nothing: they write down what they are asked, and the test says how each request ends.
///
/// Ownership: outlives the transactions it makes.
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

  /// From now on no transaction can be had.
  void refuse() { isRefusing_ = true; }

  /// What all transactions were asked to send, in order.
  const std::vector<Request>& requests() const { return requests_; }

  /// The transactions that live, in the order of their making.
  const std::vector<Transaction*>& transactions() const { return transactions_; }

  /// How the request of the transaction made last ends.
  void complete(int status, std::string_view content = "");
  void fail();
  void timeOut();
  void endAbort();

 private:
  NotificationCenter& center_;
  std::vector<Request> requests_;
  std::vector<Transaction*> transactions_;
  bool isRefusing_ = false;
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

  std::optional<int> encoding() const { return encoding_; }
  const std::string& session() const { return session_; }
  const std::string& logFile() const { return logFile_; }
  int aborts() const { return aborts_; }

  /// Posts the outcome called `name`; a completed one brings the status and the content.
  void end(std::string_view name, int status = 0, std::string_view content = "");

 private:
  ScriptedHttp& http_;
  std::optional<int> encoding_;
  std::string session_;
  std::string logFile_;
  int aborts_ = 0;
  int status_ = 0;
  std::string content_;
};

}  // namespace sqm::testing
