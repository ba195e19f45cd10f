#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/common/UploadRequest.h"
#include "sqm/store/SQMRecordStore.h"

#include "tools/sqmctl/Command.h"

namespace sqmctl {

/// The record types in the order of an upload, and the words that stand for them on the command line.
struct TypeName {
  sqm::RecordType type;
  const char* name;
};
inline constexpr std::array<TypeName, sqm::SQMRecordStore::kTypes> kTypeNames = {{
    {sqm::RecordType::client, "client"},
    {sqm::RecordType::connection, "connection"},
    {sqm::RecordType::device, "device"},
    {sqm::RecordType::application, "application"},
    {sqm::RecordType::userAcceptance, "user-acceptance"},
}};

const char* nameOf(sqm::RecordType type);

/// The type that a word stands for; none for the empty one.
std::optional<sqm::RecordType> typeNamed(std::string_view name);

/// A file, and when it last changed.
struct KeptFile {
  std::string path;
  std::optional<std::time_t> changed;  ///< nothing when there is none
  std::uintmax_t bytes = 0;            ///< of what waits in it
  std::string problem;                 ///< why it cannot be read; otherwise empty
};

/// A list of records.
struct StoredList : KeptFile {
  sqm::RecordType type = sqm::RecordType::client;
  std::vector<std::string> records;
};

/// The upload queue.
struct StoredQueue : KeptFile {
  sqm::UploadRequests requests;
};

/// A `.sqm` file, as the directory uploader would read it.
struct SqmFile : KeptFile {
  std::string name;
  std::string content;
  bool isSent = false;  ///< it can be read and is well-formed UTF-8; the others are deleted unsent
};

/// The home directory of this invocation. Throws Problem when the user named something else than a folder.
std::string homeOf(const Invocation& invocation);

// What is kept in a home directory. To look changes nothing there, and makes nothing: neither files nor folders nor
// logs. A file that cannot be read stays as it is, and says so by its `problem`.

/// The five lists, in the order of `kTypeNames`.
using StoredLists = std::array<StoredList, kTypeNames.size()>;
StoredLists storedLists(const std::string& home);

StoredQueue storedQueue(const std::string& home);

/// The folder of the five lists.
std::string sqmFolderOf(const std::string& home);

const StoredList& listOf(const StoredLists& lists, sqm::RecordType type);

/// True for a type whose document is posted even when there are no records of it.
bool isPostedWithoutRecords(sqm::RecordType type);

/// Those of the lists whose documents an upload posts, one after another as each arrives.
std::vector<const StoredList*> posted(const StoredLists& lists);

/// The `.sqm` files of a folder, in the order in which they are sent. None when there is no such folder. Throws Problem
/// when the folder cannot be listed.
std::vector<SqmFile> sqmFilesIn(const std::string& folder);

/// What is posted for a list.
std::string documentOf(const StoredList& list);

/// Says which of the files cannot be read, in a line each, and that the run fails.
void complainOf(Invocation& invocation, const KeptFile& file);

/// "2026-11-21T08:55:00Z"
std::string utcText(std::time_t time);

}  // namespace sqmctl
