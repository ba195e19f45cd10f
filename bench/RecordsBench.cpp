// Filling and formatting one record of each kind, with all its fields set, compared with copying its values once, and
// then the tags and values of the same text into one string.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/manager/internal/CreatingCalls.h"
#include "sqm/records/SQMApplicationRecord.h"
#include "sqm/records/SQMClientRecord.h"
#include "sqm/records/SQMConnectionRecord.h"
#include "sqm/records/SQMDeviceRecord.h"
#include "sqm/records/SQMUserAcceptanceRecord.h"
#include "sqm/records/internal/RecordKinds.h"
#include "sqm/testing/FakeHost.h"

#include "bench/Comparison.h"
#include "bench/Pieces.h"

namespace {

using sqm::FieldNameTable;
using sqm::Fill;
using sqm::Filling;
using sqm::RecordKind;
using sqm::Row;
using sqm::Rows;
using sqm::testing::FakeHost;

/// Plain fills of the entries whose values a layout writes.
void collectFills(Rows rows, std::vector<Fill>& fills) {
  for (const Row& row : rows) {
    if (row.kind == Row::Kind::value || row.kind == Row::Kind::timeStamped) fills.push_back({row.entry});
    if (row.kind == Row::Kind::markedElement) fills.push_back({row.entry, Filling::marker});
    collectFills(row.rows, fills);
  }
}

std::vector<Fill> fillsOf(const RecordKind& kind) {
  std::vector<Fill> fills;
  collectFills(kind.layout, fills);
  return fills;
}

/// A value of a common length. One of eight has a character that must be escaped.
std::string valueOf(std::uint8_t field) {
  return "value of " + std::to_string(field) + (field % 3 == 0 ? ", of some length" : "") +
         (field % 8 == 0 ? " & more" : "");
}

template <typename Record>
class Subject {
 public:
  explicit Subject(std::vector<Fill> fills) : fills_(std::move(fills)) {
    sqm::TextArray names;
    for (std::size_t field = 0; field < FieldNameTable::kFields; ++field) {
      names.append("fieldName" + std::to_string(field));
    }
    host_.setFieldNames(names);
    record_.emplace(host_.host);
    for (const Fill& fill : fills_) values_.push_back(fill.filling == Filling::marker ? "" : valueOf(fill.field));
  }

  const std::vector<std::string>& values() const { return values_; }

  std::string fillAndFormat() {
    record_->clearRecord();
    for (std::size_t at = 0; at < fills_.size(); ++at) {
      const auto [field, filling] = fills_[at];
      if (filling == Filling::xmlSafe) {
        record_->SetAttributeAfterXMLCompatibleFormat(field, values_[at]);
      } else {
        record_->SetAttribute(field, values_[at]);
      }
    }
    if constexpr (std::is_same_v<Record, sqm::SQMClientRecord>) {
      record_->setValue("French (France)", "locale");
      record_->setValue("Mac OS X", "os");
      record_->setValue("10.8.2", "osVersion");
    }
    if constexpr (std::is_same_v<Record, sqm::SQMUserAcceptanceRecord>) record_->recordValues()->set("6", "");
    std::optional<std::string> text = "";
    bench::require(record_->FormatRecord(text) == 0, "the record does not validate");
    return *std::move(text);
  }

 private:
  FakeHost host_;
  std::optional<Record> record_;
  std::vector<Fill> fills_;
  std::vector<std::string> values_;
};

template <typename Record>
void compareFilling(const std::string& name, std::optional<double> aim, std::vector<Fill> fills) {
  const auto subject = std::make_shared<Subject<Record>>(std::move(fills));
  const auto bare = std::make_shared<bench::BareRecord>(subject->values(), subject->fillAndFormat());
  bench::compare(
      "fill and format/" + name, {.aim = aim},
      [subject](benchmark::State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(subject->fillAndFormat());
      },
      [bare](benchmark::State& state) {
        for (auto _ : state) {
          bare->fill();
          std::string text(bare->length(), '\0');
          bare->format(text.data());
          benchmark::DoNotOptimize(text);
        }
      });
}

template <typename Record>
void compareKind(const std::string& name, const RecordKind& kind) {
  constexpr double kAim = 1.3;
  compareFilling<Record>(name, kAim, fillsOf(kind));
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

  // Through both setters, as the manager fills the record of a connection start.
  constexpr std::int64_t kWiFi = 1;
  const auto fills = sqm::mediumOf(kWiFi)->startFills;
  compareFilling<sqm::SQMWiFiConnectionRecord>("Wi-Fi, XML-safe", std::nullopt, {fills.begin(), fills.end()});
  return bench::run(argc, argv);
}
