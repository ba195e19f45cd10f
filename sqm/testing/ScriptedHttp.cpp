#include "sqm/testing/ScriptedHttp.h"

#include <utility>

namespace sqm::testing {

std::unique_ptr<HttpTransaction> ScriptedHttp::makeTransaction() {
  return isRefusing_ ? nullptr : std::make_unique<Transaction>(*this);
}

std::size_t ScriptedHttp::requestsUnderWay() const {
  std::size_t count = 0;
  for (const Transaction* transaction : transactions_) count += transaction->requestsUnderWay();
  return count;
}

void ScriptedHttp::complete(int status, std::string_view content) {
  transactions_.back()->end(TrelkHttpTransactionCompletedNotification, status, content);
}

void ScriptedHttp::fail() { transactions_.back()->end(TrelkHttpTransactionErrorNotification); }

void ScriptedHttp::timeOut() { transactions_.back()->end(TrelkHttpTransactionTimeOutNotification); }

void ScriptedHttp::endAbort() { transactions_.back()->end(TrelkHttpTransactionAbortedNotification); }

ScriptedHttp::Transaction::Transaction(ScriptedHttp& http) : http_(http) { http_.transactions_.push_back(this); }

ScriptedHttp::Transaction::~Transaction() { std::erase(http_.transactions_, this); }

void ScriptedHttp::Transaction::startSession(std::string_view session, std::string_view logFile) {
  session_ = session;
  logFile_ = logFile;
}

void ScriptedHttp::Transaction::sendHttpRequest(std::optional<std::string_view> url, int withMethod, std::string data) {
  status_ = 0;
  content_.clear();
  underWay_.push_back(http_.requests_.size());
  http_.requests_.push_back({url ? std::optional(std::string(*url)) : std::nullopt, withMethod, std::move(data)});
}

EndedRequest ScriptedHttp::Transaction::endedRequest() const {
  if (!ended_) return {};
  const Request& request = http_.requests_[*ended_];
  const std::string_view url = request.url ? std::string_view(*request.url) : std::string_view();
  return {.url = url,
          .shownAs = url,
          .bytes = request.data.size(),
          .retryAfter = status_ == 0 ? std::chrono::seconds(0) : http_.retryAfter_};
}

std::optional<std::string> ScriptedHttp::Transaction::takeRequestBody() {
  return ended_ ? std::optional(http_.requests_[*ended_].data) : std::nullopt;
}

std::optional<std::string_view> ScriptedHttp::Transaction::httpResponseHeader(std::string_view name) const {
  const auto found = http_.headers_.find(name);
  return found == http_.headers_.end() ? std::nullopt : std::optional<std::string_view>(found->second);
}

void ScriptedHttp::Transaction::end(std::string_view name, int status, std::string_view content) {
  ended_.reset();
  if (!underWay_.empty()) {
    ended_ = underWay_.front();
    underWay_.pop_front();
  }
  status_ = status;
  content_ = content;
  http_.center_.postNotificationName(name, static_cast<const HttpTransaction*>(this));
}

}  // namespace sqm::testing
