#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sqm/common/Clock.h"
#include "sqm/common/Dates.h"
#include "sqm/common/Json.h"
#include "sqm/common/MainBundle.h"
#include "sqm/common/MainThread.h"
#include "sqm/common/QFLocale.h"
#include "sqm/common/QFSQMFilterManager.h"
#include "sqm/common/SystemConsole.h"
#include "sqm/common/TextCompressor.h"
#include "sqm/common/TrelkConfiguration.h"
#include "sqm/common/UserPrefs.h"
#include "sqm/common/UtilityFunctions.h"

// The smaller services of a host. A test sets their results through public members.

namespace sqm::testing {

/// Queues the tasks until the test runs them. Its time passes only in `pass`.
class ManualMainThread : public MainThread {
 public:
  using Time = std::chrono::milliseconds;

  void post(Task task) override { tasks_.push_back(std::move(task)); }
  bool postAfter(Time delay, Task task) override {
    if (hasTimers_) later_.emplace(now_ + delay, std::move(task));
    return hasTimers_;
  }
  std::size_t waiting() const { return tasks_.size(); }

  /// Runs the queued tasks and those that they post.
  void runAll() {
    while (!tasks_.empty()) {
      const Task task = std::move(tasks_.front());
      tasks_.pop_front();
      task();
    }
  }

  /// The time until the next task that was posted for later; nothing when there is none.
  std::optional<Time> nextLater() const {
    return later_.empty() ? std::nullopt : std::optional(std::max(later_.begin()->first - now_, Time(0)));
  }

  std::size_t waitingForLater() const { return later_.size(); }

  /// Runs the tasks that come due in this time, each followed by all queued ones.
  void pass(Time time) {
    const Time end = now_ + time;
    while (!later_.empty() && later_.begin()->first <= end) {
      now_ = std::max(now_, later_.begin()->first);
      post(std::move(later_.begin()->second));
      later_.erase(later_.begin());
      runAll();
    }
    now_ = end;
  }

  /// From now on `postAfter` behaves as its default.
  void dropTimers() { hasTimers_ = false; }

 private:
  std::deque<Task> tasks_;
  std::multimap<Time, Task> later_;
  Time now_{0};
  bool hasTimers_ = true;
};

/// The paths of resources by file name ("SQMFieldNames.plist").
class MemoryBundle : public MainBundle {
 public:
  std::optional<std::string> pathForResource(std::string_view name, std::string_view ofType) override {
    const auto found = paths.find(std::string(name) + "." + std::string(ofType));
    return found == paths.end() ? std::nullopt : std::optional(found->second);
  }

  std::map<std::string, std::string> paths;
};

class FixedPrefs : public UserPrefs {
 public:
  std::string_view clientTimeStamp() const override { return timeStamp; }

  std::string timeStamp;
};

class FixedConfiguration : public TrelkConfiguration {
 public:
  std::string homeDirectory() const override { return home; }
  std::string applicationQuenfaFolderPath() const override { return applicationFolder; }

  std::string home = "/home/tester";
  std::string applicationFolder = "/home/tester/application";
};

class FixedUtilities : public UtilityFunctions {
 public:
  void appendXmlCompatible(std::string& out, std::string_view text) const override {
    ++escapings;
    UtilityFunctions::appendXmlCompatible(out, text);
  }
  std::string getOSVersion() const override { return osVersion; }
  std::string getOSProductName() const override { return osName; }

  std::string osVersion = "10.8.2";
  std::string osName = "Mac OS X";
  mutable int escapings = 0;
};

class FixedLocale : public QFLocale {
 public:
  std::string currentLocale() const override { return current; }
  std::optional<std::string> displayName(std::string_view identifier, std::string_view inLocale) const override {
    asked = {std::string(identifier), std::string(inLocale)};
    return name;
  }

  std::string current = "en_US";
  std::optional<std::string> name = "English (United States)";
  mutable std::pair<std::string, std::string> asked;
};

/// A clock that only the test changes. Its two readings can be set separately.
class ManualClock : public Clock {
 public:
  std::int64_t time() const override { return seconds; }
  Date date() const override { return now; }

  void set(Date date) {
    now = date;
    seconds = std::chrono::floor<std::chrono::seconds>(date.time_since_epoch()).count();
  }
  void advance(Date::duration by) { set(now + by); }

  std::int64_t seconds = 0;
  Date now{};
};

/// A zone with a fixed offset. The text of a date is the one set for its description, or else the description itself:
/// the pattern, an "@" and the microseconds since 1970.
class FixedDates : public Dates {
 public:
  std::chrono::seconds secondsFromGMT(Date) const override { return offset; }
  std::string text(Date date, std::string_view pattern) const override {
    const std::string asked = std::string(pattern) + "@" + std::to_string(date.time_since_epoch().count());
    const auto found = texts.find(asked);
    return found == texts.end() ? asked : found->second;
  }

  std::chrono::seconds offset{0};
  std::map<std::string, std::string> texts;
};

class MemoryConsole : public SystemConsole {
 public:
  void writeLine(std::string_view text) override { lines.emplace_back(text); }

  std::vector<std::string> lines;
};

/// Records every record unchanged unless the test sets `disabled` or `replaced`.
class ScriptedFilter : public QFSQMFilterManager {
 public:
  /// The arguments of a filter call.
  struct Query {
    std::optional<std::string> name;
    std::optional<std::string> subType;
    ValueDictionary values;
  };

  bool recordingDisabledForRecordName(std::optional<std::string_view> recordName,
                                      std::optional<std::string_view> subType,
                                      const ValueDictionary& andSQMValues) override {
    queries.push_back({copyOf(recordName), copyOf(subType), andSQMValues});
    return disabled && disabled(queries.back());
  }

  std::optional<ValueDictionary> appyFiltersForRecord(std::optional<std::string_view> record,
                                                      std::optional<std::string_view> subType,
                                                      const ValueDictionary& values) override {
    if (!replaced) return std::nullopt;
    return replaced({copyOf(record), copyOf(subType), values});
  }

  std::function<bool(const Query&)> disabled;
  std::function<std::optional<ValueDictionary>(const Query&)> replaced;
  std::vector<Query> queries;

 private:
  static std::optional<std::string> copyOf(std::optional<std::string_view> text) {
    return text ? std::optional(std::string(*text)) : std::nullopt;
  }
};

/// Records the values that it is given and returns the texts that the test sets. An absent text means a failure.
class RecordingJson : public JsonWriter {
 public:
  std::optional<std::string> JSONString(const JsonObject& dictionary) const override {
    objects.push_back(dictionary);
    return objectText;
  }
  std::optional<std::string> JSONString(const JsonArray& array) const override {
    arrays.push_back(array);
    return arrayText;
  }

  std::optional<std::string> objectText = "{}";
  std::optional<std::string> arrayText = "[]";
  mutable std::vector<JsonObject> objects;
  mutable std::vector<JsonArray> arrays;
};

/// Returns the text unchanged unless the test sets `compressed`.
class ScriptedCompressor : public TextCompressor {
 public:
  struct Call {
    std::string text;
    int encoding;
    std::size_t fitting;
  };

  std::optional<std::string> compressStringWithEncoding(std::string_view text, int encoding,
                                                        std::size_t fitting) const override {
    calls.push_back({std::string(text), encoding, fitting});
    return compressed ? compressed(text) : std::optional(std::string(text));
  }

  std::function<std::optional<std::string>(std::string_view)> compressed;
  mutable std::vector<Call> calls;
};

}  // namespace sqm::testing
