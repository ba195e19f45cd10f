#include "tools/sqmctl/Stored.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <sys/stat.h>
#include <utility>

#include "sqm/common/PropertyList.h"
#include "sqm/common/internal/TimeStamp.h"
#include "sqm/common/internal/Utf8.h"
#include "sqm/delivery/Journal.h"
#include "sqm/manager/UploadSequence.h"
#include "sqm/platform/files/ArchiveFiles.h"
#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/platform/files/SystemFiles.h"
#include "sqm/platform/system/HomeFolders.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/sessionfiles/SQMStore.h"
#include "sqm/store/RecordTypes.h"

namespace sqmctl {

namespace {

namespace fs = std::filesystem;

/// Writes to `text` why a file cannot be read.
sqm::platform::FileProblems problemsKeptIn(std::string& text) {
  return {[&text](const sqm::platform::FileProblem& problem) { text = textOf(problem); }};
}

std::optional<std::time_t> changeOf(const std::string& path) {
  struct ::stat status {};
  if (::stat(path.c_str(), &status) != 0) return std::nullopt;
  return status.st_mtime;
}

void readSqmFile(SqmFile& file) {
  if (const auto failure = sqm::platform::SystemFiles().read(file.path, file.content)) {
    file.problem = "cannot read " + file.path + ": " + failure.message();
    return;
  }
  file.bytes = file.content.size();
  file.isSent = sqm::isWellFormedUtf8(file.content);
}

/// The lists as their files hold them.
StoredLists savedLists(const std::string& home) {
  const sqm::platform::HomeFolders folders(home);
  StoredLists lists;
  for (const sqm::RecordType type : sqm::kRecordTypes) {
    StoredList& list = lists[static_cast<std::size_t>(type)];
    list.type = type;
    list.path = sqm::listFilePath(folders, type);
    list.changed = changeOf(list.path);
    auto records =
        sqm::platform::PropertyListFiles(problemsKeptIn(list.problem), {}).arrayWithContentsOfFile(list.path);
    if (records) list.records.appendPresent(*std::move(records));  // as the store does
  }
  return lists;
}

std::string journalPath(const std::string& home) {
  return sqmFolderOf(home) + "/" + std::string(sqm::delivery::kJournalFile);
}

std::string statisticsPath(const std::string& home) {
  return sqmFolderOf(home) + "/" + std::string(sqm::delivery::kStatisticsFile);
}

/// Empty without a journal, and when it cannot be read, which the first list then reports.
std::string journalContent(const std::string& path, StoredLists& lists) {
  std::string content;
  const std::error_code failure = sqm::platform::SystemFiles().read(path, content);
  if (failure && failure != std::errc::no_such_file_or_directory) {
    lists.front().problem = "cannot read " + path + ": " + failure.message();
  }
  return content;
}

}  // namespace

std::optional<sqm::RecordType> typeNamed(std::string_view name) {
  const auto* found = std::ranges::find(sqm::kRecordTypeTable, name, &sqm::RecordTypeRow::name);
  return found == std::end(sqm::kRecordTypeTable) ? std::nullopt : std::optional(found->type);
}

std::string homeOf(const Invocation& invocation) {
  std::error_code unknown;
  if (!invocation.home.empty() && fs::exists(invocation.home, unknown) && !fs::is_directory(invocation.home, unknown)) {
    throw Problem(kBadInput, "--home " + invocation.home + ": that is no folder");
  }
  return sqm::platform::HomeFolders(invocation.home).homeDirectory();
}

StoredLists storedLists(const std::string& home) {
  constexpr int kAttempts = 10;
  StoredLists lists;
  std::string before = journalContent(journalPath(home), lists);
  for (int attempt = 1;; ++attempt) {
    lists = savedLists(home);
    std::string journal = journalContent(journalPath(home), lists);
    // A journal that began anew meanwhile belongs to lists that were saved meanwhile.
    if (!journal.starts_with(before) && attempt < kAttempts) {
      before = std::move(journal);
      continue;
    }
    std::array<sqm::TextArray, sqm::kRecordTypes.size()> records;
    std::ranges::transform(lists, records.begin(), [](StoredList& list) { return std::move(list.records); });
    sqm::delivery::applyJournal(journal, records);
    for (std::size_t type = 0; type < lists.size(); ++type) {
      lists[type].records = std::move(records[type]);
      lists[type].bytes = lists[type].records.joined().size();
    }
    return lists;
  }
}

sqm::delivery::Recording recordingFor(const Invocation& invocation, const std::string& home) {
  using enum sqm::delivery::Recording;
  const bool hasJournal = sqm::platform::SystemFiles().exists(journalPath(home));
  return invocation.recording == asRequired && hasJournal ? survivesCrash : invocation.recording;
}

StoredQueue storedQueue(const std::string& home) {
  using sqm::platform::ArchiveFiles;
  StoredQueue queue;
  queue.path = sqm::QFRecordUploader::archivePath(sqm::platform::HomeFolders(home));
  queue.changed = changeOf(queue.path);
  ArchiveFiles archives(problemsKeptIn(queue.problem), sqm::platform::FileOperations::posix(),
                        ArchiveFiles::Unreadable::stays);
  queue.requests = archives.objectFromFile(queue.path).value_or(sqm::UploadRequests{});
  for (const sqm::UploadRequest& request : queue.requests) {
    queue.bytes += request.uploadData ? request.uploadData->size() : 0;
  }
  return queue;
}

std::string sqmFolderOf(const std::string& home) { return sqm::sqmFolderPath(sqm::platform::HomeFolders(home)); }

std::vector<SqmFile> sqmFilesIn(const std::string& folder) {
  sqm::platform::SystemFiles system;
  std::vector<sqm::Files::Entry> entries;
  const auto failure = sqm::listSqmFiles(system, folder, entries);
  if (failure && failure != std::errc::no_such_file_or_directory) {
    throw Problem(kFailure, "cannot list the folder " + folder + ": " + failure.message());
  }
  std::vector<SqmFile> files;
  for (const sqm::Files::Entry& entry : entries) {
    if (!entry.isRegularFile) continue;
    SqmFile& file = files.emplace_back();
    file.path = folder + "/" + entry.name;
    file.name = entry.name;
    file.changed = changeOf(file.path);
    readSqmFile(file);
  }
  return files;
}

bool hasStatistics(const std::string& home) { return sqm::platform::SystemFiles().exists(statisticsPath(home)); }

std::optional<sqm::delivery::DeliveryStatistics> storedStatistics(const std::string& home, const StoredLists& lists) {
  std::string text;
  if (sqm::platform::SystemFiles().read(statisticsPath(home), text)) return std::nullopt;
  auto kept = sqm::delivery::statisticsOf(text);
  if (!kept) return std::nullopt;
  for (const StoredList& list : lists) kept->counts.lists[sqm::indexOf(list.type)].fitWaiting(list.records.size());
  return kept->counts;
}

sqm::delivery::Consent storedConsent(const std::string& home) {
  using enum sqm::delivery::Consent;
  std::string text;
  const auto problem =
      sqm::platform::SystemFiles().read(sqm::delivery::consentPath(sqm::platform::HomeFolders(home)), text);
  if (problem == std::errc::no_such_file_or_directory) return granted;
  return problem ? withheld : sqm::delivery::savedConsentOf(text).value_or(withheld);
}

std::vector<sqm::RecordType> postedTypes(const StoredLists& lists) {
  const auto hasRecords = [&lists](sqm::RecordType type) { return !listOf(lists, type).records.empty(); };
  if (std::ranges::none_of(sqm::kRecordTypes, hasRecords)) return {};
  return sqm::uploadPlan(hasRecords);
}

std::string documentOf(const StoredList& list) { return sqm::listDocument(list.type, list.records).value_or(""); }

void complainOf(Invocation& invocation, const KeptFile& file) {
  if (!file.problem.empty()) complain(invocation, file.problem);
}

std::string utcText(std::time_t time) {
  return sqm::isoTimeStamp(std::chrono::sys_seconds(std::chrono::seconds(time)));
}

}  // namespace sqmctl
