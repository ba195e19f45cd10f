#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sqm/common/Format.h"
#include "sqm/testing/FakeHost.h"

/// Records, in order, the calls of an uploader to its transaction and its log: "make", "encoding 0",
/// "session TrelkConnect, SQMHttp.log", "open SQMUploadlog.log 2", "line 2 text", "send body".
///
/// Ownership: replaces the transactions and the logs of `fakes`, which outlives it.
class RecordedSteps : public sqm::HttpTransactionFactory, public sqm::LogFileFactory {
 public:
  explicit RecordedSteps(sqm::testing::FakeHost& fakes) : fakes_(fakes) {
    fakes.host.httpTransactions = this;
    fakes.host.logFiles = this;
  }

  std::unique_ptr<sqm::HttpTransaction> makeTransaction() override {
    add("make");
    return std::make_unique<Transaction>(*this, fakes_.http);
  }

  std::size_t requestsUnderWay() const override { return fakes_.http.requestsUnderWay(); }

  std::unique_ptr<sqm::LogFile> initWithFile(std::string_view file, int logLevel) override {
    add("open " + std::string(file) + " " + std::to_string(logLevel));
    return std::make_unique<Log>(*this);
  }

  std::vector<std::string> steps;
  /// Called with each step, before it is done.
  std::function<void(std::string_view)> onStep;

 private:
  void add(std::string step) {
    steps.push_back(std::move(step));
    if (onStep) onStep(steps.back());
  }

  class Transaction : public sqm::testing::ScriptedHttp::Transaction {
   public:
    Transaction(RecordedSteps& steps, sqm::testing::ScriptedHttp& http)
        : ScriptedHttp::Transaction(http), steps_(steps) {}

    void setEncoding(int encoding) override {
      steps_.add("encoding " + std::to_string(encoding));
      ScriptedHttp::Transaction::setEncoding(encoding);
    }
    void startSession(std::string_view session, std::string_view logFile) override {
      steps_.add("session " + std::string(session) + ", " + std::string(logFile));
      ScriptedHttp::Transaction::startSession(session, logFile);
    }
    void sendHttpRequest(std::optional<std::string_view> url, int withMethod, std::string data) override {
      steps_.add("send " + data);
      ScriptedHttp::Transaction::sendHttpRequest(url, withMethod, std::move(data));
    }

   private:
    using ScriptedHttp = sqm::testing::ScriptedHttp;
    RecordedSteps& steps_;
  };

  class Log : public sqm::LogFile {
   public:
    explicit Log(RecordedSteps& steps) : steps_(steps) {}
    void write(const sqm::LogLine& line) override {
      std::string text = "line " + std::to_string(line.userLevel) + " ";
      sqm::appendFormatted(text, line.format, line.arguments);
      steps_.add(std::move(text));
    }

   private:
    RecordedSteps& steps_;
  };

  sqm::testing::FakeHost& fakes_;
};

/// Creates an uploader whose transaction fails at each step of the creation. Returns the steps at which the uploader
/// posted `failureName`: those at which it observed the transaction.
template <typename Uploader>
std::string stepsWithObservers(std::string_view failureName) {
  sqm::testing::FakeHost fakes;
  RecordedSteps recorded(fakes);
  std::string found;
  std::string_view step;
  const auto observer =
      fakes.notificationCenter.addObserver(failureName, nullptr, [&](const sqm::Notification&) { found += step; });
  recorded.onStep = [&](std::string_view current) {
    step = current;
    if (current != "make") fakes.http.fail();
  };
  const auto uploader = Uploader::create(fakes.host);
  return found;
}
