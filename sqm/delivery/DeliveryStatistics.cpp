#include "sqm/delivery/DeliveryStatistics.h"

#include <charconv>
#include <numeric>

#include "sqm/delivery/internal/Checksums.h"

namespace sqm::delivery {

namespace {

// The format of the file. Not to be changed: files of older versions are read.
constexpr std::string_view kFirstLine = "SQM delivery statistics 1\n";
constexpr std::string_view kCheck = "check ";
constexpr std::size_t kCheckLength = kCheck.size() + 8 + 1;
constexpr std::string_view kQueue = "queue";
constexpr std::string_view kRefusedBodies = "refused bodies:";

/// The first counts of a line; those of the dropped ones follow.
constexpr struct {
  std::string_view name;
  std::uint64_t DeliveryCounts::*count;
} kCounts[] = {{"accepted", &DeliveryCounts::accepted},
               {"delivered", &DeliveryCounts::delivered},
               {"refused", &DeliveryCounts::refused},
               {"waiting", &DeliveryCounts::waiting}};

std::string checkOf(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const std::uint32_t checksum = crc32c(text);
  std::string line(kCheck);
  for (int shift = 28; shift >= 0; shift -= 4) line += kDigits[checksum >> shift & 0xF];
  return line.append("\n");
}

/// Calls `visit` with each kind: the name of its lines, its counts, and its times.
template <typename Kept, typename Visit>
bool forEachKind(Kept& kept, Visit visit) {
  for (std::size_t type = 0; type < kRecordTypes.size(); ++type) {
    if (!visit(std::to_string(type), kept.counts.lists[type], kept.listTimes[type])) return false;
  }
  return visit(std::string(kQueue), kept.counts.queue, kept.queueTimes);
}

void put(std::string& text, std::string_view name, std::uint64_t count) {
  text.append(" ").append(name).append(" ").append(std::to_string(count));
}

void write(std::string& text, const DropCounts& dropped) {
  for (std::size_t at = 0; at < dropped.size(); ++at) put(text, kDropReasonNames[at], dropped[at]);
  text.append("\n");
}

bool write(std::string& text, const std::string& kind, const DeliveryCounts& counts, const StoredTimes& times) {
  text.append(kind).append(":");
  for (const auto& [name, count] : kCounts) put(text, name, counts.*count);
  write(text, counts.dropped);
  text.append(kind).append(" stored:");
  for (const StoredTimes::Run& run : times.runs()) put(text, std::to_string(run.time), run.count);
  text.append("\n");
  return true;
}

/// Takes what it is asked for from the beginning of a text.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  bool take(std::string_view expected) {
    if (!rest_.starts_with(expected)) return false;
    rest_.remove_prefix(expected.size());
    return true;
  }

  template <typename Number>
  bool takeNumber(Number& number) {
    const auto [end, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    if (error != std::errc()) return false;
    rest_.remove_prefix(static_cast<std::size_t>(end - rest_.data()));
    return true;
  }

  bool takeCount(std::string_view name, std::uint64_t& count) {
    return take(" ") && take(name) && take(" ") && takeNumber(count);
  }

  bool isAtEnd() const { return rest_.empty(); }

 private:
  std::string_view rest_;
};

bool read(Reader& reader, DropCounts& dropped) {
  for (std::size_t at = 0; at < dropped.size(); ++at) {
    if (!reader.takeCount(kDropReasonNames[at], dropped[at])) return false;
  }
  return reader.take("\n");
}

bool read(Reader& reader, std::string_view kind, DeliveryCounts& counts, StoredTimes& times) {
  if (!reader.take(kind) || !reader.take(":")) return false;
  for (const auto& [name, count] : kCounts) {
    if (!reader.takeCount(name, counts.*count)) return false;
  }
  if (!read(reader, counts.dropped) || !reader.take(kind) || !reader.take(" stored:")) return false;
  while (reader.take(" ")) {
    StoredTimes::Run run;
    if (!reader.takeNumber(run.time) || !reader.take(" ") || !reader.takeNumber(run.count)) return false;
    times.append(run.time, run.count);
  }
  return reader.take("\n");
}

}  // namespace

std::uint64_t DeliveryCounts::allDropped() const {
  return std::accumulate(dropped.begin(), dropped.end(), std::uint64_t{0});
}

void DeliveryCounts::fitWaiting(std::uint64_t count) {
  if (count > waiting) {
    accepted += count - waiting;
  } else {
    dropped[static_cast<std::size_t>(DropReason::lost)] += waiting - count;
  }
  waiting = count;
}

std::string savedStatisticsOf(const KeptStatistics& kept) {
  std::string text(kFirstLine);
  forEachKind(kept, [&](const std::string& kind, const auto& counts, const auto& times) {
    return write(text, kind, counts, times);
  });
  text.append(kRefusedBodies);
  write(text, kept.counts.refusedBodies);
  return text.append(checkOf(text));
}

std::optional<KeptStatistics> statisticsOf(std::string_view text) {
  if (!text.starts_with(kFirstLine) || text.size() < kFirstLine.size() + kCheckLength) return std::nullopt;
  const std::string_view checked = text.substr(0, text.size() - kCheckLength);
  if (text.substr(checked.size()) != checkOf(checked)) return std::nullopt;
  Reader reader(checked.substr(kFirstLine.size()));
  KeptStatistics kept;
  const bool isRead = forEachKind(
      kept, [&](const std::string& kind, auto& counts, auto& times) { return read(reader, kind, counts, times); });
  const bool isWhole = isRead && reader.take(kRefusedBodies) && read(reader, kept.counts.refusedBodies);
  return isWhole && reader.isAtEnd() ? std::optional(std::move(kept)) : std::nullopt;
}

}  // namespace sqm::delivery
