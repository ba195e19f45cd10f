// Filling and formatting one record of each kind, with all its fields set, beside copying the pieces of the same text
// into one string.

#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/records/SQMApplicationRecord.h"
#include "sqm/records/SQMClientRecord.h"
#include "sqm/records/SQMDeviceRecord.h"
#include "sqm/records/SQMEthernetConnectionRecord.h"
#include "sqm/records/SQMMBConnectionRecord.h"
#include "sqm/records/SQMUserAcceptanceRecord.h"
#include "sqm/records/SQMWiFiConnectionRecord.h"
#include "sqm/testing/FakeHost.h"

#include "bench/Comparison.h"

namespace {

using sqm::RecordKind;
using sqm::Row;
using sqm::Rows;
using sqm::testing::FakeHost;

/// The entries whose values a layout writes.
void collectEntries(Rows rows, std::vector<std::int64_t>& entries) {
  for (const Row& row : rows) {
    if (row.kind == Row::Kind::value || row.kind == Row::Kind::timeStamped) entries.push_back(row.entry);
    collectEntries(row.rows, entries);
  }
}

/// A record's text as its names, values and marks.
std::vector<std::string> piecesOf(std::string_view text) {
  std::vector<std::string> pieces;
  while (!text.empty()) {
    const std::size_t opening = text.find('<');
    if (opening != 0) {
      pieces.emplace_back(text.substr(0, opening));
      text.remove_prefix(std::min(opening, text.size()));
      continue;
    }
    const std::size_t mark = text.starts_with("</") ? 2 : 1;
    const std::size_t end = text.find('>');
    pieces.emplace_back(text.substr(0, mark));
    pieces.emplace_back(text.substr(mark, end - mark));
    pieces.emplace_back(text.substr(end, 1));
    text.remove_prefix(end + 1);
  }
  return pieces;
}

template <typename Record>
class Subject {
 public:
  explicit Subject(const RecordKind& kind) {
    sqm::PropertyList::Array names;
    for (int field = 0; field < 91; ++field) names.push_back("fieldName" + std::to_string(field));
    host_.setFieldNames(names);
    record_.emplace(host_.host);
    collectEntries(kind.layout, entries_);
    for (const std::int64_t entry : entries_) {
      values_.push_back("value of " + std::to_string(entry) + (entry % 3 == 0 ? ", of some length" : ""));
    }
  }

  std::string fillAndFormat() {
    record_->clearRecord();
    for (std::size_t at = 0; at < entries_.size(); ++at) record_->SetAttribute(entries_[at], values_[at]);
    if (isUserAcceptance()) record_->recordValues()->set("6", "");
    std::optional<std::string> text = "";
    bench::require(record_->FormatRecord(text) == 0, "the record does not validate");
    return *std::move(text);
  }

 private:
  static constexpr bool isUserAcceptance() { return std::is_same_v<Record, sqm::SQMUserAcceptanceRecord>; }

  FakeHost host_;
  std::optional<Record> record_;
  std::vector<std::int64_t> entries_;
  std::vector<std::string> values_;
};

template <typename Record>
void compareKind(const std::string& name, const RecordKind& kind) {
  constexpr double kAim = 1.5;
  const auto subject = std::make_shared<Subject<Record>>(kind);
  const std::string text = subject->fillAndFormat();
  const auto pieces = std::make_shared<const std::vector<std::string>>(piecesOf(text));
  bench::compare(
      "fill and format/" + name, kAim,
      [subject](benchmark::State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(subject->fillAndFormat());
      },
      [pieces, length = text.size()](benchmark::State& state) {
        for (auto _ : state) {
          std::string copy(length, '\0');
          char* at = copy.data();
          for (const std::string& piece : *pieces) {
            std::memcpy(at, piece.data(), piece.size());
            at += piece.size();
          }
          benchmark::DoNotOptimize(copy);
        }
      });
}

}  // namespace

int main(int argc, char** argv) {
  compareKind<sqm::SQMWiFiConnectionRecord>("Wi-Fi", sqm::kWiFiConnectionKind);
  compareKind<sqm::SQMMBConnectionRecord>("mobile broadband", sqm::kMBConnectionKind);
  compareKind<sqm::SQMEthernetConnectionRecord>("Ethernet", sqm::kEthernetConnectionKind);
  compareKind<sqm::SQMClientRecord>("client", sqm::kClientKind);
  compareKind<sqm::SQMDeviceRecord>("device", sqm::kDeviceKind);
  compareKind<sqm::SQMApplicationRecord>("application", sqm::kApplicationKind);
  compareKind<sqm::SQMUserAcceptanceRecord>("user acceptance", sqm::kUserAcceptanceKind);
  return bench::run(argc, argv);
}
