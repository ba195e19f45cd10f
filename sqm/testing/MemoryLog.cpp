#include "sqm/testing/MemoryLog.h"

#include <set>
#include <utility>

#include "sqm/common/Format.h"

namespace sqm::testing {

struct MemoryLogs::Files {
  mutable std::mutex mutex;
  std::map<std::string, std::vector<std::string>, std::less<>> lines;
  std::set<std::string, std::less<>> refused;
};

class MemoryLogs::MemoryLogFile : public LogFile {
 public:
  MemoryLogFile(std::shared_ptr<Files> files, std::string_view name, int level)
      : files_(std::move(files)), name_(name), level_(level) {}

  void write(const LogLine& line) override {
    if (line.userLevel > level_) return;
    std::string text;
    text.append(line.info).append(" ").append(std::to_string(line.userLevel)).append(" ");
    appendFormatted(text, line.format, line.arguments);
    const std::lock_guard lock(files_->mutex);
    files_->lines[name_].push_back(std::move(text));
  }

 private:
  std::shared_ptr<Files> files_;
  std::string name_;
  int level_;
};

MemoryLogs::MemoryLogs() : files_(std::make_shared<Files>()) {}

std::unique_ptr<LogFile> MemoryLogs::initWithFile(std::string_view file, int logLevel) {
  const std::lock_guard lock(files_->mutex);
  if (files_->refused.contains(file)) return nullptr;
  return std::make_unique<MemoryLogFile>(files_, file, logLevel);
}

std::vector<std::string> MemoryLogs::lines(std::string_view file) const {
  const std::lock_guard lock(files_->mutex);
  const auto found = files_->lines.find(file);
  return found == files_->lines.end() ? std::vector<std::string>{} : found->second;
}

void MemoryLogs::refuse(std::string_view file) {
  const std::lock_guard lock(files_->mutex);
  files_->refused.emplace(file);
}

}  // namespace sqm::testing
