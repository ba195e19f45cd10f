#include "sqm/platform/files/LogFiles.h"

#include <cstdio>
#include <map>
#include <mutex>
#include <new>
#include <utility>

#include "sqm/common/Format.h"
#include "sqm/platform/files/internal/RotatingFile.h"

namespace sqm::platform {

namespace {

bool isPlainName(std::string_view name) {
  constexpr std::string_view kNotInNames("/\0", 2);
  return !name.empty() && name != "." && name != ".." && name.find_first_of(kNotInNames) == std::string_view::npos;
}

/// The beginning of each line, "2026-11-21T10:00:00.000Z": its date and time of day are made anew once a second.
class TimeStamps {
 public:
  /// True when it is another second than the last time.
  bool append(std::string& out, std::chrono::system_clock::time_point now) {
    using namespace std::chrono;
    const auto second = floor<seconds>(now);
    const bool isNew = second != second_ || text_.empty();
    if (isNew) {
      second_ = second;
      text_ = textOf(second);
    }
    char fraction[8];
    const auto count = static_cast<int>(floor<milliseconds>(now - second).count());
    const int length = std::snprintf(fraction, sizeof fraction, ".%03dZ", count);
    out.append(text_).append(fraction, static_cast<std::size_t>(length));
    return isNew;
  }

 private:
  static std::string textOf(std::chrono::sys_seconds second) {
    using namespace std::chrono;
    const auto day = floor<days>(second);
    const year_month_day date(day);
    const hh_mm_ss time(second - day);
    char text[40];
    const int length = std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(date.year()),
                                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                                     static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                                     static_cast<int>(time.seconds().count()));
    return {text, static_cast<std::size_t>(length)};
  }

  std::chrono::sys_seconds second_{};
  std::string text_;
};

/// Takes the bytes of a character that was cut through off the end of `text`, from `begin` on; tells how many.
std::size_t dropPartOfCharacter(std::string& text, std::size_t begin) {
  constexpr std::size_t kMostContinuationBytes = 3;
  std::size_t at = text.size();
  for (std::size_t back = 0; back <= kMostContinuationBytes && at > begin; ++back) {
    const auto byte = static_cast<unsigned char>(text[--at]);
    if (byte < 0x80) return 0;
    if (byte >= 0xC0) {
      const std::size_t needed = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
      const std::size_t there = text.size() - at;
      if (there >= needed) return 0;
      text.resize(at);
      return there;
    }
  }
  return 0;
}

}  // namespace

/// The file that all logs of one name share.
class LogFiles::SharedLog {
 public:
  SharedLog(const Options& options, FileOperations& files, std::string_view name)
      : now_(options.now),
        textSize_(options.textSize == 0 ? std::string::npos : options.textSize),
        file_(files, options.folder + "/" + std::string(name), options.fileSize, options.files) {}

  bool open() { return !file_.open(); }

  void write(const LogLine& line) {
    const std::lock_guard lock(mutex_);
    line_.clear();
    if (stamps_.append(line_, now_())) file_.look();
    line_.append(" ").append(line.info).append(" ").append(std::to_string(line.userLevel)).append(" ");
    const std::size_t text = line_.size();
    if (std::size_t leftOut = appendFormatted(line_, line.format, line.arguments, textSize_)) {
      leftOut += dropPartOfCharacter(line_, text);
      line_.append(" [").append(std::to_string(leftOut)).append(" bytes left out]");
    }
    line_.append("\n");
    file_.append(line_);
  }

 private:
  std::mutex mutex_;
  std::function<std::chrono::system_clock::time_point()> now_;
  std::size_t textSize_;
  RotatingFile file_;
  TimeStamps stamps_;
  std::string line_;
};

class LogFiles::Log : public LogFile {
 public:
  Log(std::shared_ptr<SharedLog> shared, int level) : shared_(std::move(shared)), level_(level) {}

  void write(const LogLine& line) override try {
    if (line.userLevel <= level_) shared_->write(line);
  } catch (const std::bad_alloc&) {
    // The line is lost.
  }

 private:
  std::shared_ptr<SharedLog> shared_;
  int level_;
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
  return std::make_unique<Log>(std::move(shared), logLevel);
}

}  // namespace sqm::platform
