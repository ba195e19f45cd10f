#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "sqm/common/Clock.h"
#include "sqm/common/Host.h"
#include "sqm/common/HttpTransaction.h"
#include "sqm/common/LogFile.h"
#include "sqm/common/QFSQMFilterManager.h"

#include "faces/c/internal/Handles.h"

namespace sqm::c {

/// Transactions by an application's callbacks.
///
/// Ownership: the host's main thread and notification center must outlive the transactions.
/// Threading: the host's thread.
class CallbackHttp final : public HttpTransactionFactory {
 public:
  struct Shared;
  class Transaction;

  explicit CallbackHttp(const sqm_http_service& service);

  /// Must be called before the first transaction is made: the host is made with this factory.
  void use(const Host& host);

  std::unique_ptr<HttpTransaction> makeTransaction() override;
  std::size_t requestsUnderWay() const override;

 private:
  const std::shared_ptr<Shared> shared_;
};

/// A filter by an application's callbacks.
class CallbackFilter final : public QFSQMFilterManager {
 public:
  explicit CallbackFilter(const sqm_filter_service& service) : service_(service) {}

  bool recordingDisabledForRecordName(std::optional<std::string_view> recordName,
                                      std::optional<std::string_view> subType,
                                      const ValueDictionary& andSQMValues) override;
  std::optional<ValueDictionary> appyFiltersForRecord(std::optional<std::string_view> record,
                                                      std::optional<std::string_view> subType,
                                                      const ValueDictionary& values) override;

 private:
  const sqm_filter_service service_;
};

/// Logs by an application's callback.
class CallbackLogs final : public LogFileFactory {
 public:
  explicit CallbackLogs(const sqm_log_service& service) : service_(service) {}

  std::unique_ptr<LogFile> initWithFile(std::string_view file, int logLevel) override;

 private:
  const sqm_log_service service_;
};

/// The time by an application's callback.
class CallbackClock final : public Clock {
 public:
  explicit CallbackClock(const sqm_clock_service& service) : service_(service) {}

  std::int64_t time() const override {
    return std::chrono::floor<std::chrono::seconds>(date()).time_since_epoch().count();
  }
  Date date() const override {
    const InService inside;
    return Date(std::chrono::microseconds(service_.now(service_.context)));
  }

 private:
  const sqm_clock_service service_;
};

}  // namespace sqm::c
