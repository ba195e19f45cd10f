// The lists of records: their documents, and their files.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "sqm/common/internal/XmlText.h"
#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/store/SQMRecordStore.h"
#include "sqm/testing/FakeHost.h"
#include "sqm/testing/MemoryLog.h"

#include "bench/BareParse.h"
#include "bench/Comparison.h"
#include "tools/support/TemporaryFolder.h"

namespace {

using sqm::platform::PropertyListFiles;
using sqm::testing::FakeHost;

constexpr std::size_t kRecordSize = 1600;
constexpr std::size_t kMostRecords = 100'000;

/// One record: short elements, a good part of it marks.
std::string recordText(std::size_t number) {
  constexpr std::string_view kEnd = "</connection>";
  std::string text = "<connection><connectionId timestamp=\"1795255200\">";
  text.append(std::to_string(number)).append("</connectionId>");
  std::string element;
  for (std::size_t field = 0; text.size() + element.size() + kEnd.size() <= kRecordSize; ++field) {
    text.append(element);
    const std::string name = "fieldName" + std::to_string(field);
    element = "<";
    element.append(name).append(">value &amp; ").append(std::to_string(number * field));
    element.append("</").append(name).append(">");
  }
  return text.append(kEnd);
}

/// The first `count` of the records.
std::span<const std::string> records(std::size_t count) {
  static const std::vector<std::string> all = [] {
    std::vector<std::string> texts;
    texts.reserve(kMostRecords);
    for (std::size_t number = 0; number < kMostRecords; ++number) texts.push_back(recordText(number));
    return texts;
  }();
  return std::span(all).first(count);
}

// --- Documents ----------------------------------------------------------------------------------------------------

void compareDocument(std::size_t count) {
  constexpr auto kType = sqm::RecordType::connection;
  const auto fakes = std::make_shared<FakeHost>();
  const auto store = std::make_shared<sqm::SQMRecordStore>(fakes->host);
  std::size_t length = 0;
  for (const std::string& record : records(count)) {
    store->saveSQMRecordType(static_cast<std::int64_t>(kType), record);
    length += record.size();
  }
  bench::compare(
      "a document/" + std::to_string(count) + " records", {.aim = 2.0},
      [fakes, store](benchmark::State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(store->document(kType));
      },
      [count, length](benchmark::State& state) {
        for (auto _ : state) {
          const auto text = std::make_unique_for_overwrite<char[]>(length);
          char* at = text.get();
          for (const std::string& record : records(count)) {
            std::memcpy(at, record.data(), record.size());  // NOLINT(bugprone-not-null-terminated-result)
            at += record.size();
          }
          benchmark::DoNotOptimize(text.get());
        }
      });
}

// --- Files --------------------------------------------------------------------------------------------------------

/// Escapes the texts into a buffer that is there, and writes it, whenever a good part is full, over the file's bytes.
void writeBare(std::span<const std::string> texts, const std::string& path, std::string& buffer) {
  constexpr std::size_t kFlushAt = 64 * 1024;
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  bench::require(file >= 0, "the bare file cannot be opened");
  const auto flush = [&] {
    const auto size = static_cast<ssize_t>(buffer.size());
    bench::require(::write(file, buffer.data(), buffer.size()) == size, "the bare file cannot be written");
    buffer.clear();
  };
  for (const std::string& text : texts) {
    sqm::appendXmlText(buffer, text, sqm::XmlEscaping::propertyList);
    if (buffer.size() >= kFlushAt) flush();
  }
  flush();
  ::close(file);
}

std::string bufferThatIsThere() {
  std::string buffer(std::size_t{1} << 20, '\0');  // its pages are there, too
  buffer.clear();
  return buffer;
}

/// The most that the process's memory has been since the last call of `forgetPeak`, in KiB.
std::size_t peakMemory() {
  constexpr std::string_view kField = "VmHWM:";
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(kField)) return std::stoul(line.substr(kField.size()));
  }
  return 0;
}

bool forgetPeak() {
  std::ofstream file("/proc/self/clear_refs");
  file << "5" << std::flush;  // proc(5): resets the peak
  return file.good();
}

/// How many KiB of memory a save takes, once the records are there.
void printMemoryOfSaving(PropertyListFiles& files, std::size_t count, const std::string& path) {
  const sqm::TextArray list = records(count);
  if (!forgetPeak()) return;
  const std::size_t before = peakMemory();
  files.writeToFile(list, path, false);
  std::printf("saving %6zu records: %zu KiB of memory at the most\n", count, peakMemory() - before);
}

bench::Effort fileEffort(std::size_t count) {
  constexpr double kAim = 1.3;
  constexpr int kFew = 10;
  return {.aim = kAim, .repetitions = count == kMostRecords ? std::optional(kFew) : std::nullopt};
}

void compareSaving(PropertyListFiles& files, std::size_t count, const tools::TemporaryFolder& folder) {
  const std::string path = folder / ("saved " + std::to_string(count));
  const std::string barePath = folder / ("bare " + std::to_string(count));
  bench::compare(
      "saving/" + std::to_string(count) + " records", fileEffort(count),
      [&files, list = std::make_shared<const sqm::TextArray>(records(count)), path](benchmark::State& state) {
        for (auto _ : state) bench::require(files.writeToFile(*list, path, false), "a list cannot be saved");
      },
      [count, barePath](benchmark::State& state) {
        std::string buffer = bufferThatIsThere();
        for (auto _ : state) writeBare(records(count), barePath, buffer);
      });
}

void compareLoading(PropertyListFiles& files, std::size_t count, const tools::TemporaryFolder& folder) {
  const std::string path = folder / ("loaded " + std::to_string(count));
  bench::require(files.writeToFile(records(count), path, false), "a list cannot be saved");
  bench::compare(
      "loading/" + std::to_string(count) + " records", fileEffort(count),
      [&files, count, path](benchmark::State& state) {
        for (auto _ : state) {
          const auto list = files.arrayWithContentsOfFile(path);
          bench::require(list && list->size() == count, "a list cannot be loaded");
        }
      },
      [path](benchmark::State& state) {
        for (auto _ : state) bench::require(bench::readAndParse(path), "a list cannot be parsed");
      });
}

}  // namespace

int main(int argc, char** argv) {
  const tools::TemporaryFolder folder;
  sqm::testing::MemoryLogs logs;
  PropertyListFiles files(logs, {});

  for (const std::size_t count : {10U, 1'000U, 100'000U}) printMemoryOfSaving(files, count, folder / "measured");
  for (const std::size_t count : {10U, 10'000U}) compareDocument(count);
  for (const std::size_t count : {10U, 1'000U, 100'000U}) compareSaving(files, count, folder);
  for (const std::size_t count : {10U, 1'000U, 100'000U}) compareLoading(files, count, folder);
  return bench::run(argc, argv);
}
