#pragma once

#include <initializer_list>
#include <memory>
#include <string_view>
#include <utility>

#include "sqm/common/Host.h"
#include "sqm/common/LogFile.h"
#include "sqm/common/NotificationCenter.h"

namespace sqm {

/// The log file that the uploaders write to, each through an object of its own, and the lines that they have in common.
class UploadLog {
 public:
  /// Null when the file cannot be opened.
  static std::unique_ptr<UploadLog> open(Host& host) {
    auto file = host.logFiles->initWithFile("SQMUploadlog.log", kLogLevel);
    return file ? std::make_unique<UploadLog>(std::move(file)) : nullptr;
  }

  explicit UploadLog(std::unique_ptr<LogFile> file) : file_(std::move(file)) {}

  void write(std::string_view format, std::initializer_list<std::string_view> arguments = {}) {
    file_->writeLogToFileWithInfo("DEBUG", kLogLevel, format, arguments);
  }

  void writeData(std::string_view data) { write("startSend*** SQM Data:%@", {data}); }

  void writeNotification(const Notification& notification) {
    write("httpStatus***notification recieved :%@", {notification.name});
  }

 private:
  std::unique_ptr<LogFile> file_;
};

}  // namespace sqm
