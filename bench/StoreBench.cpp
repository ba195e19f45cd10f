// The lists of records: their documents, and their files.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/store/SQMRecordStore.h"
#include "sqm/testing/FakeHost.h"
#include "sqm/testing/MemoryLog.h"

#include "bench/BareList.h"
#include "bench/Comparison.h"
#include "tools/support/TemporaryFolder.h"

namespace {

using sqm::platform::PropertyListFiles;
using sqm::testing::FakeHost;

constexpr std::size_t kRecordSize = 1600;
constexpr std::size_t kMostRecords = 100'000;

/// Bytes of a bare write. Longer and shorter ones take as long.
constexpr std::size_t kBarePiece = std::size_t{1} << 20;

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
  for (const std::string& record : records(count)) {
    store->saveSQMRecordType(static_cast<std::int64_t>(kType), record);
  }
  const auto text = std::make_shared<const std::string>(store->document(kType).value());
  bench::compare(
      "a document/" + std::to_string(count) + " records", {.aim = 1.05},
      [fakes, store](benchmark::State& state) {
        for (auto _ : state) benchmark::DoNotOptimize(store->document(kType));
      },
      [text](benchmark::State& state) {
        for (auto _ : state) {
          const auto copy = std::make_unique_for_overwrite<char[]>(text->size());
          std::memcpy(copy.get(), text->data(), text->size());
          benchmark::DoNotOptimize(copy.get());
        }
      });
}

// --- Files --------------------------------------------------------------------------------------------------------

/// Saves a list. Returns the bytes of its file.
std::string savedList(PropertyListFiles& files, std::size_t count, const std::string& path) {
  bench::require(files.writeToFile(records(count), path, false), "a list cannot be saved");
  std::string bytes(std::filesystem::file_size(path), '\0');
  std::ifstream(path, std::ios::binary).read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  return bytes;
}

/// Writes bytes that are ready over those of the file.
void writeBare(std::string_view bytes, const std::string& path) {
  const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  bench::require(file >= 0, "the bare file cannot be opened");
  while (!bytes.empty()) {
    const ssize_t written = ::write(file, bytes.data(), std::min(bytes.size(), kBarePiece));
    bench::require(written > 0, "the bare file cannot be written");
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  ::close(file);
}

bench::Effort fileEffort(std::size_t count, double aim) {
  constexpr int kFew = 10;
  return {.aim = aim, .repetitions = count == kMostRecords ? std::optional(kFew) : std::nullopt};
}

void compareSaving(PropertyListFiles& files, std::size_t count, const tools::TemporaryFolder& folder) {
  const std::string path = folder / ("saved " + std::to_string(count));
  const std::string barePath = folder / ("bare " + std::to_string(count));
  const auto bytes = std::make_shared<const std::string>(savedList(files, count, path));
  bench::compare(
      "saving/" + std::to_string(count) + " records", fileEffort(count, 1.5),
      [&files, list = std::make_shared<const sqm::TextArray>(records(count)), path](benchmark::State& state) {
        for (auto _ : state) bench::require(files.writeToFile(*list, path, false), "a list cannot be saved");
      },
      [bytes, barePath](benchmark::State& state) {
        for (auto _ : state) writeBare(*bytes, barePath);
      });
}

void compareLoading(PropertyListFiles& files, std::size_t count, const tools::TemporaryFolder& folder) {
  const std::string path = folder / ("loaded " + std::to_string(count));
  bench::require(files.writeToFile(records(count), path, false), "a list cannot be saved");
  bench::compare(
      "loading/" + std::to_string(count) + " records", fileEffort(count, 1.3),
      [&files, count, path](benchmark::State& state) {
        for (auto _ : state) {
          const auto list = files.arrayWithContentsOfFile(path);
          bench::require(list && list->size() == count, "a list cannot be loaded");
        }
      },
      [count, path](benchmark::State& state) {
        for (auto _ : state) {
          const bench::BareList list = bench::loadBare(path);
          bench::require(list.ends.size() == count, "a list cannot be loaded by hand");
        }
      });
}

}  // namespace

int main(int argc, char** argv) {
  const tools::TemporaryFolder folder;
  sqm::testing::MemoryLogs logs;
  PropertyListFiles files(logs, {});

  for (const std::size_t count : {10U, 10'000U}) compareDocument(count);
  for (const std::size_t count : {10U, 1'000U, 100'000U}) compareSaving(files, count, folder);
  for (const std::size_t count : {10U, 1'000U, 100'000U}) compareLoading(files, count, folder);
  return bench::run(argc, argv);
}
