#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "sqm/common/LogFile.h"

namespace sqmctl {

/// Logs whose lines the tool hears, since the library tells the reasons of its failures nowhere else. They are written
/// to the host's logs too, where there are such; otherwise nothing is written.
///
/// Ownership: the host's logs and what `onLine` uses must outlive the logs.
class HeardLogs : public sqm::LogFileFactory {
 public:
  using OnLine = std::function<void(const sqm::LogLine& line)>;

  explicit HeardLogs(OnLine onLine, sqm::LogFileFactory* hosts = nullptr) : onLine_(std::move(onLine)), hosts_(hosts) {}

  std::unique_ptr<sqm::LogFile> initWithFile(std::string_view file, int logLevel) override {
    return std::make_unique<Log>(onLine_, hosts_ == nullptr ? nullptr : hosts_->initWithFile(file, logLevel));
  }

 private:
  class Log : public sqm::LogFile {
   public:
    Log(const OnLine& onLine, std::unique_ptr<sqm::LogFile> hosts) : onLine_(onLine), hosts_(std::move(hosts)) {}

    void write(const sqm::LogLine& line) override {
      onLine_(line);
      if (hosts_) hosts_->write(line);
    }

   private:
    const OnLine& onLine_;
    std::unique_ptr<sqm::LogFile> hosts_;
  };

  OnLine onLine_;
  sqm::LogFileFactory* hosts_;
};

}  // namespace sqmctl
