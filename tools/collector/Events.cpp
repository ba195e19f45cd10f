#include "tools/collector/Events.h"

#include <charconv>
#include <system_error>

#include "tools/collector/Json.h"
#include "tools/collector/storage/Storage.h"

namespace collector {

namespace {

constexpr std::int64_t kAtATime = 16;

std::string event(const char* name, const Cursor& cursor, const std::string& data) {
  return std::string("event: ") + name + "\nid: " + cursor.text() + "\ndata: " + data + "\n\n";
}

/// Reads a number from the beginning of `text`, and removes it.
std::optional<std::int64_t> takeNumber(std::string_view& text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || number < 0 || text.front() == '-') return std::nullopt;
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return number;
}

}  // namespace

std::optional<Cursor> parseCursor(std::string_view text, Storage& storage) {
  const auto request = takeNumber(text);
  if (!request) return std::nullopt;
  if (text.empty()) return Cursor{*request, storage.lastRecordUpTo(*request)};
  if (!text.starts_with('-')) return std::nullopt;
  text.remove_prefix(1);
  const auto record = takeNumber(text);
  if (!record || !text.empty()) return std::nullopt;
  return Cursor{*request, *record};
}

Cursor startOf(Cursor cursor, Storage& storage) {
  const auto [request, record] = storage.last();
  return cursor.request > request || cursor.record > record ? Cursor{} : cursor;
}

std::string nextEvents(Storage& storage, Cursor& cursor) {
  const auto requests = storage.requests(cursor.request, kAtATime);
  const auto records = storage.records(cursor.record, kAtATime);
  auto request = requests.begin();
  auto record = records.begin();
  std::string text;
  for (;;) {
    if (record != records.end() && record->request <= cursor.request) {
      cursor.record = record->id;
      text += event("record", cursor, recordEventJson(*record++));
    } else if (request != requests.end() && (record != records.end() || records.empty())) {
      cursor.request = request->id;
      text += event("request", cursor, requestJson(*request++));
    } else {
      return text;  // the next call reads the records that may still belong to that request
    }
  }
}

std::shared_ptr<void> Events::join() {
  const std::lock_guard lock(mutex_);
  if (watchers_ >= mostWatchers_) return nullptr;
  ++watchers_;
  return {this, [](Events* events) {
            const std::lock_guard leaving(events->mutex_);
            --events->watchers_;
          }};
}

std::uint64_t Events::count() const {
  const std::lock_guard lock(mutex_);
  return count_;
}

void Events::notifyArrival() {
  const std::lock_guard lock(mutex_);
  ++count_;
  changed_.notify_all();
}

void Events::waitBeyond(std::uint64_t count, std::chrono::milliseconds longest) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, longest, [&] { return hasEnded_ || count_ != count; });
}

void Events::pause(std::chrono::milliseconds duration) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, duration, [this] { return hasEnded_; });
}

void Events::end() {
  const std::lock_guard lock(mutex_);
  hasEnded_ = true;
  changed_.notify_all();
}

bool Events::hasEnded() const {
  const std::lock_guard lock(mutex_);
  return hasEnded_;
}

}  // namespace collector
