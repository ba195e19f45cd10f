#pragma once

#include <array>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sqm/common/TextArray.h"
#include "sqm/common/UploadRequest.h"
#include "sqm/delivery/DeliveryStatistics.h"
#include "sqm/delivery/UserConsent.h"
#include "sqm/store/RecordTypes.h"

#include "tools/sqmctl/Command.h"

namespace sqmctl {

inline const char* nameOf(sqm::RecordType type) { return sqm::rowOf(type).name.data(); }

/// The type with this name; std::nullopt when there is none.
std::optional<sqm::RecordType> typeNamed(std::string_view name);

/// A stored file and its modification time.
struct KeptFile {
  std::string path;
  std::optional<std::time_t> changed;  ///< nothing when there is no file
  std::uintmax_t bytes = 0;            ///< the length of the stored texts
  std::string problem;                 ///< why it cannot be read; otherwise empty
};

/// A list of records.
struct StoredList : KeptFile {
  sqm::RecordType type = sqm::RecordType::client;
  sqm::TextArray records;  ///< none is absent
};

/// The upload queue.
struct StoredQueue : KeptFile {
  sqm::UploadRequests requests;
};

/// A `.sqm` file, as the directory uploader reads it.
struct SqmFile : KeptFile {
  std::string name;
  std::string content;
  bool isSent = false;  ///< it is readable and well-formed UTF-8; the others are deleted unsent
};

/// The home directory of this invocation. Throws Problem when the user named something other than a folder.
std::string homeOf(const Invocation& invocation);

// The files below a home directory. These functions only read: they make and change no file, folder or log. A file that
// cannot be read stays as it is, and its `problem` says why.

/// The lists, in the order of `kRecordTypes`, with what their journal holds.
using StoredLists = std::array<StoredList, sqm::kRecordTypes.size()>;
StoredLists storedLists(const std::string& home);

StoredQueue storedQueue(const std::string& home);

/// The folder of the five lists.
std::string sqmFolderOf(const std::string& home);

inline const StoredList& listOf(const StoredLists& lists, sqm::RecordType type) {
  return lists[static_cast<std::size_t>(type)];
}

/// How a command that changes the lists of this home directory works with them: with their journal, where there is one.
sqm::delivery::Recording recordingFor(const Invocation& invocation, const std::string& home);

/// True when what becomes of the records of this home directory is counted.
bool hasStatistics(const std::string& home);

/// The counts, with what waits; nothing when nothing is counted, or the file is damaged.
std::optional<sqm::delivery::DeliveryStatistics> storedStatistics(const std::string& home, const StoredLists& lists);

/// The choice of the user that applies in this home directory.
sqm::delivery::Consent storedConsent(const std::string& home);

/// The types whose documents an upload posts, in their order, provided that each post succeeds. None when there are no
/// records at all: sqmctl then uploads nothing.
std::vector<sqm::RecordType> postedTypes(const StoredLists& lists);

/// The `.sqm` files of a folder, in the order in which they are sent. Empty when the folder does not exist. Throws
/// Problem when the folder cannot be listed.
std::vector<SqmFile> sqmFilesIn(const std::string& folder);

/// The document that is posted for a list; empty when there is none.
std::string documentOf(const StoredList& list);

/// Reports a file that cannot be read, and that the run fails.
void complainOf(Invocation& invocation, const KeptFile& file);

/// "2026-11-21T08:55:00Z"
std::string utcText(std::time_t time);

}  // namespace sqmctl
