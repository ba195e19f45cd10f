#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "sqm/common/Format.h"
#include "sqm/common/LogFile.h"

/// Log files that keep nothing: `onLine`, where it is set, is told every line while it is written.
class ObservedLogs : public sqm::LogFileFactory {
 public:
  std::unique_ptr<sqm::LogFile> initWithFile(std::string_view file, int logLevel) override {
    levels[std::string(file)] = logLevel;
    return std::make_unique<File>(*this, file);
  }

  std::function<void(const std::string& file, const std::string& text)> onLine;
  std::map<std::string, int> levels;  ///< of the files opened so far

 private:
  class File : public sqm::LogFile {
   public:
    File(ObservedLogs& logs, std::string_view name) : logs_(logs), name_(name) {}

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
