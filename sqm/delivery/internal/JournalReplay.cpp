#include "sqm/delivery/internal/JournalReplay.h"

#include <algorithm>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sqm/common/internal/XmlText.h"
#include "sqm/delivery/internal/Checksums.h"
#include "sqm/delivery/internal/JournalFormat.h"

namespace sqm::delivery {

namespace {

/// The text as a property list returns it.
std::string_view asSaved(std::string_view text, std::string& buffer) {
  if (isXmlAllowed(text)) return text;
  buffer.clear();
  appendXmlAllowed(buffer, text);
  return buffer;
}

/// The journal's account of one list.
class Account {
 public:
  void take(const JournalFrame& frame, const ListMark& inFile) {
    switch (frame.operation) {
      case JournalOperation::base:
      case JournalOperation::saving:
        mark(frame, inFile);
        break;
      case JournalOperation::stored:
        stored_.push_back(frame.text);
        break;
      case JournalOperation::removed:
        remove(frame.count);
        break;
    }
  }

  ListFile file() const { return file_; }
  /// Records at the front of the file's list that are gone.
  std::uint64_t removedOfBase() const { return removedOfBase_; }
  /// The records behind those of the file, or, when that is unknown, all that the journal holds.
  std::span<const std::string_view> stored() const { return std::span(stored_).subspan(removedOfStored_); }

 private:
  /// From the last place where the list is the one in the file, or with which the journal begins, only what follows
  /// counts.
  void mark(const JournalFrame& frame, const ListMark& inFile) {
    const bool isBase = frame.operation == JournalOperation::base;
    const bool isInFile = inFile == ListMark{frame.count, frame.digest};
    if (!isBase && !isInFile) return;
    *this = Account();
    baseCount_ = frame.count;
    if (isInFile) file_ = isBase ? ListFile::asJournalBegan : ListFile::saved;
  }

  void remove(std::uint64_t count) {
    const std::uint64_t ofBase = std::min(count, baseCount_ - removedOfBase_);
    removedOfBase_ += ofBase;
    const std::uint64_t left = stored_.size() - removedOfStored_;
    removedOfStored_ += static_cast<std::size_t>(std::min(count - ofBase, left));
  }

  ListFile file_ = ListFile::unknown;
  std::uint64_t baseCount_ = 0;
  std::uint64_t removedOfBase_ = 0;
  std::vector<std::string_view> stored_;
  std::size_t removedOfStored_ = 0;
};

/// Appends the records that are not in the list, each as often as it is missing.
void appendMissing(TextArray& list, std::span<const std::string_view> records) {
  std::map<std::string, std::size_t, std::less<>> known;
  std::string buffer;
  for (const auto record : list) ++known[std::string(asSaved(record.value_or(""), buffer))];
  for (const std::string_view record : records) {
    const auto found = known.find(asSaved(record, buffer));
    if (found != known.end() && found->second > 0) {
      --found->second;
    } else {
      list.append(record);
    }
  }
}

}  // namespace

ListMark markOf(const TextArray& list) {
  ListMark mark{.count = list.size(), .digest = 0};
  std::string buffer;
  for (const auto record : list) mark.digest = xxh64(asSaved(record.value_or(""), buffer), mark.digest);
  return mark;
}

Replay replayJournal(std::string_view frames, std::span<TextArray> lists) {
  Replay replay;
  for (std::size_t type = 0; type < lists.size(); ++type) replay.bases[type] = markOf(lists[type]);

  ByType<Account> accounts;
  JournalReader reader(frames);
  while (const auto frame = reader.next())
    accounts[indexOf(frame->type)].take(*frame, replay.bases[indexOf(frame->type)]);
  replay.nextSequence = reader.nextSequence();
  replay.soundBytes = frames.size() - reader.rest().size();

  for (std::size_t type = 0; type < lists.size(); ++type) {
    const Account& account = accounts[type];
    replay.files[type] = account.file();
    if (account.file() == ListFile::unknown) {
      appendMissing(lists[type], account.stored());
      continue;
    }
    replay.removedOfBase[type] = account.removedOfBase();
    lists[type].removeFirst(static_cast<std::size_t>(account.removedOfBase()));
    for (const std::string_view record : account.stored()) lists[type].append(record);
  }
  return replay;
}

}  // namespace sqm::delivery
