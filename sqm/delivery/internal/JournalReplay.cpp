#include "sqm/delivery/internal/JournalReplay.h"

#include <algorithm>
#include <exception>
#include <map>
#include <utility>

#include "sqm/common/internal/XmlText.h"
#include "sqm/delivery/internal/Checksums.h"

namespace sqm::delivery {

namespace {

/// The text as a property list returns it.
std::string_view asSaved(std::string_view text, std::string& buffer) {
  if (isXmlAllowed(text)) return text;
  buffer.clear();
  appendXmlAllowed(buffer, text);
  return buffer;
}

/// Appends the records that are not in the list, each as often as it is missing.
void appendMissing(TextArray& list, const TextArray& records) {
  std::map<std::string, std::size_t, std::less<>> known;
  std::string buffer;
  for (const auto record : list) ++known[std::string(asSaved(record.value_or(""), buffer))];
  for (const auto record : records) {
    const auto found = known.find(asSaved(record.value_or(""), buffer));
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

void ListReplay::take(const JournalFrame& frame, const ListMark& inFile, std::uintmax_t toCome) {
  switch (frame.operation) {
    case JournalOperation::base:
    case JournalOperation::saving:
      mark(frame, inFile);
      break;
    case JournalOperation::stored:
      store(frame.text, toCome);
      break;
    case JournalOperation::removed:
      remove(frame.count);
      break;
  }
}

/// From the last place where the list is the one in the file, or with which the journal begins, only what follows
/// counts.
void ListReplay::mark(const JournalFrame& frame, const ListMark& inFile) {
  const bool isBase = frame.operation == JournalOperation::base;
  const bool isInFile = inFile == ListMark{frame.count, frame.digest};
  if (!isBase && !isInFile) return;
  *this = ListReplay();
  baseCount_ = frame.count;
  if (isInFile) file_ = isBase ? ListFile::asJournalBegan : ListFile::saved;
}

/// Makes room for all that may follow: the system provides memory as it is used, and a list that grows step by step
/// uses twice as much.
void ListReplay::store(std::string_view text, std::uintmax_t toCome) {
  const std::size_t size = stored_.joined().size() + text.size();
  if (size > stored_.capacity()) {
    try {
      stored_.reserve(0, size + static_cast<std::size_t>(toCome));
    } catch (const std::exception&) {  // then it grows step by step
    }
  }
  stored_.append(text);
}

void ListReplay::remove(std::uint64_t count) {
  const std::uint64_t ofBase = std::min(count, baseCount_ - removedOfBase_);
  removedOfBase_ += ofBase;
  stored_.removeFirst(static_cast<std::size_t>(std::min<std::uint64_t>(count - ofBase, stored_.size())));
}

void ListReplay::finish(TextArray& list) {
  if (file_ == ListFile::unknown) {
    removedOfBase_ = 0;
    appendMissing(list, stored_);
    return;
  }
  list.removeFirst(static_cast<std::size_t>(removedOfBase_));
  const bool isMostlyRoom = stored_.capacity() / 2 > stored_.joined().size();
  if (list.empty() && isMostlyRoom) stored_ = TextArray(stored_);  // gives the rest back
  list.appendPresent(std::move(stored_));
}

JournalReplay::JournalReplay(std::span<TextArray> lists) : lists_(lists) {
  for (std::size_t type = 0; type < lists.size(); ++type) marks_[type] = markOf(lists[type]);
}

void JournalReplay::take(std::string_view bytes, std::uintmax_t toCome) {
  replay_.size += bytes.size();
  while (missing_ > 0 && !bytes.empty()) {
    const bool isContinued = !rest_.empty();
    const std::string_view piece = isContinued ? bytes.substr(0, missing_) : bytes;
    bytes.remove_prefix(piece.size());
    if (isContinued) rest_.append(piece);
    const std::size_t used = takeFrames(isContinued ? rest_ : piece, bytes.size() + toCome);
    replay_.soundBytes += used;
    if (isContinued) {
      rest_.erase(0, used);
    } else {
      rest_.assign(piece.substr(used));
    }
  }
}

/// Returns how many of the bytes are whole frames, and the head.
std::size_t JournalReplay::takeFrames(std::string_view bytes, std::uintmax_t toCome) {
  std::string_view frames = bytes;
  if (!replay_.isJournal) {
    missing_ = std::max(bytes.size(), kJournalHead.size()) - bytes.size();
    replay_.isJournal = bytes.starts_with(kJournalHead);
    if (!replay_.isJournal) return 0;
    frames.remove_prefix(kJournalHead.size());
  }
  reader_.continueWith(frames);
  while (const auto frame = reader_.next()) {
    const std::size_t type = indexOf(frame->type);
    accounts_[type].take(*frame, marks_[type], reader_.rest().size() + toCome);
  }
  missing_ = reader_.missing();
  return bytes.size() - reader_.rest().size();
}

Replay JournalReplay::finish() {
  if (!replay_.isJournal) return replay_;
  for (std::size_t type = 0; type < lists_.size(); ++type) {
    accounts_[type].finish(lists_[type]);
    replay_.files[type] = accounts_[type].file();
    replay_.removedOfBase[type] = accounts_[type].removedOfBase();
  }
  replay_.nextSequence = reader_.nextSequence();
  return replay_;
}

}  // namespace sqm::delivery
