#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/sqmctl/Command.h"
#include "tools/sqmctl/Output.h"
#include "tools/sqmctl/Stored.h"

namespace sqmctl {

namespace {

using tools::Style;

constexpr std::size_t kNameWidth = 15;

struct StatusOptions {
  std::string folder;
  bool isJson = false;
};

/// A store of data to be sent.
struct Place {
  std::string name;
  std::string unit;
  std::string path;
  std::size_t count = 0;
  std::uintmax_t bytes = 0;
  std::optional<std::time_t> oldest = {};  ///< the modification time of the oldest file with data
  bool isReadable = true;
};

void add(Place& place, const KeptFile& file, std::size_t count, Invocation& invocation) {
  complainOf(invocation, file);
  place.isReadable = place.isReadable && file.problem.empty();
  place.count += count;
  place.bytes += file.bytes;
  if (count > 0 && file.changed) place.oldest = std::min(place.oldest.value_or(*file.changed), *file.changed);
}

Json jsonOf(const std::optional<std::time_t>& time) { return time ? Json(utcText(*time)) : Json(nullptr); }

Json jsonOf(const Place& place, const char* countName) {
  return {{countName, place.count},
          {"bytes", place.bytes},
          {"path", place.path},
          {"oldest", jsonOf(place.oldest)},
          {"readable", place.isReadable}};
}

void printRow(const tools::Terminal& terminal, const Place& place) {
  const bool isWaiting = place.count > 0;
  constexpr std::size_t kCountWidth = 18;
  std::string row = "  " + padded(place.name, kNameWidth) + padded(counted(place.count, place.unit), kCountWidth) +
                    counted(place.bytes, "byte");
  if (!place.isReadable) row += "  cannot be read";
  if (place.oldest) row += "  " + utcText(*place.oldest);
  terminal.line(terminal.styled(!place.isReadable ? Style::bad : isWaiting ? Style::plain : Style::dim, row));
}

/// "2 (age: 1, records: 1)"
std::string textOf(const sqm::delivery::DropCounts& dropped) {
  std::uint64_t sum = 0;
  std::string reasons;
  for (std::size_t at = 0; at < dropped.size(); ++at) {
    if (dropped[at] == 0) continue;
    sum += dropped[at];
    reasons += (reasons.empty() ? "" : ", ") + std::string(sqm::delivery::kDropReasonNames[at]) + ": " +
               std::to_string(dropped[at]);
  }
  return std::to_string(sum) + (reasons.empty() ? "" : " (" + reasons + ")");
}

/// "  client  accepted 12, delivered 9, refused 0, dropped 2 (age: 2), waiting 1"; nothing when nothing was accepted.
void printCounts(const tools::Terminal& terminal, const std::string& name,
                 const sqm::delivery::DeliveryCounts& counts) {
  if (counts.accepted == 0) return;
  terminal.line("  " + padded(name, kNameWidth) + "accepted " + std::to_string(counts.accepted) + ", delivered " +
                std::to_string(counts.delivered) + ", refused " + std::to_string(counts.refused) + ", dropped " +
                textOf(counts.dropped) + ", waiting " + std::to_string(counts.waiting));
}

void printStatistics(const tools::Terminal& terminal, const sqm::delivery::DeliveryStatistics& statistics) {
  terminal.line(terminal.styled(Style::bold, "Since the folder was made"));
  for (const sqm::RecordType type : sqm::kRecordTypes) {
    printCounts(terminal, nameOf(type), statistics.lists[sqm::indexOf(type)]);
  }
  printCounts(terminal, "upload queue", statistics.queue);
  if (statistics.refusedBodies != sqm::delivery::DropCounts{}) {
    terminal.line("  " + padded("refused bodies", kNameWidth) + "dropped " + textOf(statistics.refusedBodies));
  }
}

Json jsonOf(const sqm::delivery::DeliveryStatistics& statistics) {
  Json types = Json::object();
  for (const sqm::RecordType type : sqm::kRecordTypes) {
    types[nameOf(type)] = sqmctl::jsonOf(statistics.lists[sqm::indexOf(type)]);
  }
  types["queue"] = sqmctl::jsonOf(statistics.queue);
  types["refusedBodies"] = {{"dropped", sqmctl::jsonOf(statistics.refusedBodies)}};
  return types;
}

void run(Invocation& invocation, const StatusOptions& options) {
  const std::string home = homeOf(invocation);
  const std::string folder = options.folder.empty() ? sqmFolderOf(home) : options.folder;

  std::vector<Place> types;
  const StoredLists lists = storedLists(home);
  const auto statistics = storedStatistics(home, lists);
  const sqm::delivery::Consent consent = storedConsent(home);
  const bool isGranted = consent == sqm::delivery::Consent::granted;
  for (const StoredList& list : lists) {
    add(types.emplace_back(Place{.name = nameOf(list.type), .unit = "record", .path = list.path}), list,
        list.records.size(), invocation);
  }
  const StoredQueue stored = storedQueue(home);
  Place queue{.name = "upload queue", .unit = "request", .path = stored.path};
  add(queue, stored, stored.requests.size(), invocation);
  Place files{.name = ".sqm files", .unit = "file", .path = folder};
  for (const SqmFile& file : sqmFilesIn(folder)) add(files, file, 1, invocation);

  std::vector<Place> all = types;
  all.insert(all.end(), {queue, files});
  std::optional<std::time_t> oldest;
  for (const Place& place : all) {
    if (place.oldest) oldest = std::min(oldest.value_or(*place.oldest), *place.oldest);
  }

  const tools::Terminal terminal(stdout);
  if (options.isJson) {
    Json records = Json::object();
    for (const Place& type : types) records[type.name] = jsonOf(type, "records");
    Json status = {{"home", home},
                   {"records", records},
                   {"queue", jsonOf(queue, "requests")},
                   {"folder", jsonOf(files, "files")},
                   {"oldest", jsonOf(oldest)}};
    if (statistics) status["statistics"] = jsonOf(*statistics);
    if (!isGranted) status["consent"] = nameOf(consent);
    printJson(terminal, status);
    return;
  }
  terminal.line(terminal.styled(Style::bold, "Below " + home));
  for (const Place& place : all) printRow(terminal, place);
  terminal.line(terminal.shown("The .sqm files are those of " + folder));
  const bool isAllRead = std::all_of(all.begin(), all.end(), [](const Place& place) { return place.isReadable; });
  terminal.line(oldest      ? "The oldest file in which something waits is of " + utcText(*oldest)
                : isAllRead ? "Nothing waits"
                            : "Nothing waits in what can be read");
  if (!isGranted) terminal.line("The user's consent is " + std::string(nameOf(consent)));
  if (statistics) printStatistics(terminal, *statistics);
}

}  // namespace

void addStatus(CLI::App& program, Invocation& invocation) {
  const auto options = std::make_shared<StatusOptions>();
  CLI::App* status = program.add_subcommand("status", "What waits to be sent: records, requests, .sqm files");
  status
      ->add_option("--folder", options->folder,
                   "Folder of .sqm files (default: the folder of the five lists below the home directory)")
      ->option_text("FOLDER");
  status->add_flag("--json", options->isJson, "For programs");
  status->callback([&invocation, options] { run(invocation, *options); });
}

}  // namespace sqmctl
