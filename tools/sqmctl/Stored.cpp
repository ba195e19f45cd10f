#include "tools/sqmctl/Stored.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <sys/stat.h>
#include <utility>

#include "sqm/common/PropertyList.h"
#include "sqm/common/SystemConsole.h"
#include "sqm/common/internal/Utf8.h"
#include "sqm/manager/UploadSequence.h"
#include "sqm/platform/files/ArchiveFiles.h"
#include "sqm/platform/files/PropertyListFiles.h"
#include "sqm/platform/files/SystemFiles.h"
#include "sqm/platform/system/HomeFolders.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/sessionfiles/SQMStore.h"

namespace sqmctl {

namespace {

namespace fs = std::filesystem;

/// The console gets a copy of some documents, which nobody asked for here.
class SilentConsole : public sqm::SystemConsole {
 public:
  void writeLine(std::string_view) override {}
};

/// Property lists of nothing, so that a store reads and writes no file.
class NoLists : public sqm::PropertyList {
 public:
  std::optional<Array> arrayWithContentsOfFile(const std::string&) override { return std::nullopt; }
  bool writeToFile(std::span<const std::string>, const std::string&, bool) override { return true; }
};

/// A record store in memory: where its files would lie, and what it would post.
class StoreInMemory {
 public:
  explicit StoreInMemory(const std::string& home) : folders_(home) {
    host_.propertyLists = &lists_;
    host_.configuration = &folders_;
    host_.console = &console_;
    store_ = std::make_unique<sqm::SQMRecordStore>(host_);
  }

  sqm::SQMRecordStore* operator->() { return store_.get(); }

 private:
  NoLists lists_;
  SilentConsole console_;
  sqm::platform::HomeFolders folders_;
  sqm::Host host_;
  std::unique_ptr<sqm::SQMRecordStore> store_;
};

/// Keeps in `text` why a file cannot be read.
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

}  // namespace

const char* nameOf(sqm::RecordType type) {
  const auto* found =
      std::find_if(kTypeNames.begin(), kTypeNames.end(), [&](const TypeName& each) { return each.type == type; });
  return found->name;
}

std::optional<sqm::RecordType> typeNamed(std::string_view name) {
  for (const TypeName& each : kTypeNames) {
    if (each.name == name) return each.type;
  }
  return std::nullopt;
}

std::string homeOf(const Invocation& invocation) {
  std::error_code unknown;
  if (!invocation.home.empty() && fs::exists(invocation.home, unknown) && !fs::is_directory(invocation.home, unknown)) {
    throw Problem(kBadInput, "--home " + invocation.home + ": that is no folder");
  }
  return sqm::platform::HomeFolders(invocation.home).homeDirectory();
}

StoredLists storedLists(const std::string& home) {
  StoreInMemory store(home);
  StoredLists lists;
  for (std::size_t at = 0; at < lists.size(); ++at) {
    StoredList& list = lists[at];
    list.type = kTypeNames[at].type;
    list.path = store->pathOf(list.type);
    list.changed = changeOf(list.path);
    auto records =
        sqm::platform::PropertyListFiles(problemsKeptIn(list.problem), {}).arrayWithContentsOfFile(list.path);
    if (!records) continue;
    for (auto& record : *records) {
      if (!record) continue;  // no text: the store leaves it out
      list.bytes += record->size();
      list.records.push_back(*std::move(record));
    }
  }
  return lists;
}

StoredQueue storedQueue(const std::string& home) {
  using sqm::platform::ArchiveFiles;
  StoredQueue queue;
  queue.path = sqm::platform::HomeFolders(home).applicationQuenfaFolderPath() + "/" +
               std::string(sqm::QFRecordUploader::kArchiveFile);
  queue.changed = changeOf(queue.path);
  ArchiveFiles archives(problemsKeptIn(queue.problem), sqm::platform::FileOperations::posix(),
                        ArchiveFiles::Unreadable::stays);
  queue.requests = archives.objectFromFile(queue.path).value_or(sqm::UploadRequests{});
  for (const sqm::UploadRequest& request : queue.requests) {
    queue.bytes += request.uploadData ? request.uploadData->size() : 0;
  }
  return queue;
}

std::string sqmFolderOf(const std::string& home) { return StoreInMemory(home)->getSQMDirectoryPath(); }

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

const StoredList& listOf(const StoredLists& lists, sqm::RecordType type) {
  return *std::find_if(lists.begin(), lists.end(), [&](const StoredList& list) { return list.type == type; });
}

bool isPostedWithoutRecords(sqm::RecordType type) { return StoreInMemory("/")->document(type).has_value(); }

std::vector<const StoredList*> posted(const StoredLists& lists) {
  const auto hasRecords = [&lists](sqm::RecordType type) { return !listOf(lists, type).records.empty(); };
  std::vector<const StoredList*> chosen;
  if (std::none_of(lists.begin(), lists.end(), [&](const StoredList& list) { return hasRecords(list.type); })) {
    return chosen;
  }
  sqm::UploadStep step = nextUploadStep(sqm::UploadState::idle, sqm::UploadEvent::started);
  for (;;) {
    const bool isFirst = step.postUnlessEmpty && hasRecords(*step.postUnlessEmpty);
    const auto type = isFirst ? step.postUnlessEmpty : step.postOtherwise;
    if (!type || (!hasRecords(*type) && !isPostedWithoutRecords(*type))) return chosen;
    chosen.push_back(&listOf(lists, *type));
    step = nextUploadStep(sqm::uploadStateOf(*type), sqm::UploadEvent::succeeded);
  }
}

std::string documentOf(const StoredList& list) {
  StoreInMemory store("/");
  for (const std::string& record : list.records) store->saveSQMRecordType(static_cast<std::int64_t>(list.type), record);
  return store->document(list.type).value_or("");
}

void complainOf(Invocation& invocation, const KeptFile& file) {
  if (!file.problem.empty()) complain(invocation, file.problem);
}

std::string utcText(std::time_t time) {
  std::tm utc{};
  gmtime_r(&time, &utc);
  char text[64];
  const std::size_t length = std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return {text, length};
}

}  // namespace sqmctl
