#include "sqm/platform/files/LogFiles.h"

#include <map>
#include <mutex>
#include <new>
#include <utility>

#include "sqm/common/Format.h"
#include "sqm/common/internal/TimeStamp.h"
#include "sqm/platform/files/internal/RotatingFile.h"

namespace sqm::platform {

namespace {

bool isPlainName(std::string_view name) {
  constexpr std::string_view kNotInNames("/\0", 2);
  return !name.empty() && name != "." && name != ".." && name.find_first_of(kNotInNames) == std::string_view::npos;
}

}  // namespace

/// The file of all logs of one name.
class LogFiles::SharedLog {
 public:
  SharedLog(const Options& options, FileOperations& files, std::string_view name)
      : now_(options.now),
        textSize_(options.textSize == 0 ? std::string::npos : options.textSize),
        file_(files, options.folder + "/" + std::string(name), options.fileSize, options.files) {}

  bool open() { return !file_.open(); }

  void write(const LogLine& line) {
    const std::lock_guard lock(mutex_);
    const auto now = std::chrono::floor<std::chrono::milliseconds>(now_());
    const auto second = std::chrono::floor<std::chrono::seconds>(now);
    if (second != second_) beginSecond(second);
    line_.assign(timeStamp_).append(std::to_string(1000 + (now - second).count()), 1).append("Z ");  // keeps its buffer
    line_.append(line.info).append(" ").append(std::to_string(line.userLevel)).append(" ");
    if (const std::size_t leftOut = appendFormatted(line_, line.format, line.arguments, textSize_)) {
      line_.append(" [").append(std::to_string(leftOut)).append(" bytes left out]");
    }
    line_.append("\n");
    file_.append(line_);
  }

 private:
  /// A check of the file before each line would double the cost of the line.
  void beginSecond(std::chrono::sys_seconds second) {
    timeStamp_ = isoTimeStamp(second);
    timeStamp_.back() = '.';
    second_ = second;
    file_.reopenIfGone();
  }

  std::mutex mutex_;
  std::function<std::chrono::system_clock::time_point()> now_;
  std::size_t textSize_;
  RotatingFile file_;
  std::chrono::sys_seconds second_ = std::chrono::sys_seconds::min();  // of the last line
  std::string timeStamp_;                                              // of that second: "2026-11-21T10:00:00."
  std::string line_;
};

class LogFiles::Log : public LogFile {
 public:
  Log(std::shared_ptr<SharedLog> shared, int level, std::shared_ptr<const std::atomic<bool>> mayLog)
      : shared_(std::move(shared)), level_(level), mayLog_(std::move(mayLog)) {}

  void write(const LogLine& line) override try {
    if (line.userLevel <= level_ && *mayLog_) shared_->write(line);
  } catch (const std::bad_alloc&) {
    // The line is lost.
  }

 private:
  std::shared_ptr<SharedLog> shared_;
  int level_;
  std::shared_ptr<const std::atomic<bool>> mayLog_;
};

struct LogFiles::OpenLogs {
  std::mutex mutex;
  std::map<std::string, std::weak_ptr<SharedLog>, std::less<>> byName;
};

LogFiles::LogFiles(Options options, FileOperations& files)
    : options_(std::move(options)), files_(files), open_(std::make_unique<OpenLogs>()) {}

LogFiles::~LogFiles() = default;

std::unique_ptr<LogFile> LogFiles::initWithFile(std::string_view file, int logLevel) {
  if (!isPlainName(file)) return nullptr;
  const std::lock_guard lock(open_->mutex);
  std::weak_ptr<SharedLog>& known = open_->byName[std::string(file)];
  std::shared_ptr<SharedLog> shared = known.lock();
  if (!shared) {
    shared = std::make_shared<SharedLog>(options_, files_, file);
    if (!shared->open()) return nullptr;
    known = shared;
  }
  return std::make_unique<Log>(std::move(shared), logLevel, mayLog_);
}

}  // namespace sqm::platform
