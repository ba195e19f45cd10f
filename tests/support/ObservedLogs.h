#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "sqm/common/Format.h"
#include "sqm/common/LogFile.h"

/// Log files that keep nothing and report to the callbacks that are set. Outlives the log files.
class ObservedLogs : public sqm::LogFileFactory {
 public:
  std::unique_ptr<sqm::LogFile> initWithFile(std::string_view file, int logLevel) override {
    levels[std::string(file)] = logLevel;
    return std::make_unique<File>(*this, file);
  }

  std::function<void(const std::string& file, const std::string& text)> onLine;
  std::function<void(const std::string& file)> onClose;
  std::map<std::string, int> levels;  ///< of the files opened so far

 private:
  class File : public sqm::LogFile {
   public:
    File(ObservedLogs& logs, std::string_view name) : logs_(logs), name_(name) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() override {
      if (logs_.onClose) logs_.onClose(name_);
    }

    void write(const sqm::LogLine& line) override {
      if (!logs_.onLine) return;
      std::string text;
      sqm::appendFormatted(text, line.format, line.arguments);
      logs_.onLine(name_, text);
    }

   private:
    ObservedLogs& logs_;
    std::string name_;
  };
};
