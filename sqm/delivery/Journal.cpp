#include "sqm/delivery/Journal.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "sqm/delivery/internal/JournalFormat.h"
#include "sqm/delivery/internal/JournalReplay.h"

namespace sqm::delivery {

namespace {

/// A journal of at most this size is never written anew because of the records in it that are gone.
constexpr std::uint64_t kSmallJournal = std::uint64_t{1} << 20;

/// The pause between attempts to replace the file, which write all of it.
constexpr auto kPauseBetweenAttempts = std::chrono::seconds(1);

JournalFrame storedFrame(RecordType type, const TextArray& list, std::size_t position) {
  const std::string_view text = list[position].value_or("").substr(0, kLongestJournalText);
  return {.operation = JournalOperation::stored, .type = type, .text = text};
}

}  // namespace

void applyJournal(std::string_view journal, std::span<TextArray> lists) {
  JournalReplay replay(lists);
  replay.take(journal, 0);
  replay.finish();
}

struct Journal::Known {
  ByType<ListMark> bases{};
  ByType<std::uint64_t> removedOfBase{};
  ByType<ListMark> saving{};

  /// How many records at the front of the list are in its file, too.
  std::size_t inFile(std::size_t type) const {
    return static_cast<std::size_t>(bases[type].count - removedOfBase[type]);
  }
};

Journal::Journal(std::unique_ptr<AppendFile> file, const Clock& clock, Options options)
    : file_(std::move(file)), clock_(clock), options_(std::move(options)), known_(std::make_unique<Known>()) {}

Journal::~Journal() = default;

/// Replays the file and what it lacks. False when there is no journal that can be read.
bool Journal::replayFile(std::span<TextArray> lists) {
  JournalReplay journal(lists);
  known_->bases = journal.marks();
  known_->removedOfBase = {};
  if (!isAnew_) {
    const std::error_code problem =
        file_->readPieces([&](std::string_view bytes, std::uintmax_t toCome) { journal.take(bytes, toCome); });
    if (problem == std::errc::no_such_file_or_directory) return false;
    if (problem) {
      report("cannot be read", problem);
      mustMoveAside_ = true;
      return false;
    }
  }
  journal.take(pending_, 0);
  const Replay replay = journal.finish();
  if (!replay.isJournal) {
    if (replay.size == pending_.size()) return false;  // the file is empty
    report("is of another version, or no journal, and is moved aside", {});
    mustMoveAside_ = true;
    return false;
  }
  known_->removedOfBase = replay.removedOfBase;
  nextSequence_ = replay.nextSequence;
  fileSize_ = replay.soundBytes;

  const std::uintmax_t damaged = replay.size - replay.soundBytes;
  if (damaged > 0) {
    report("is damaged from byte " + std::to_string(fileSize_) + " on; the " + std::to_string(damaged) +
               " bytes from there are dropped",
           {});
  }
  const bool isUnknown = std::find(replay.files.begin(), replay.files.end(), ListFile::unknown) != replay.files.end();
  if (isUnknown)
    report("does not know the content of a list's file, to which it adds the records that are missing", {});
  if (isAnew_ || isUnknown || damaged > 0) beginAnew(lists);
  return true;
}

void Journal::listsLoaded(std::span<TextArray> lists) {
  if (!replayFile(lists)) beginAnew(lists);
}

void Journal::recordStored(Lists lists, RecordType type) {
  const TextArray& list = lists[indexOf(type)];
  add(storedFrame(type, list, list.size() - 1));
  write(lists);
}

void Journal::recordsRemoved(Lists lists, RecordType type, std::size_t count, Removal why) {
  const std::size_t index = indexOf(type);
  known_->removedOfBase[index] += std::min<std::uint64_t>(count, known_->inFile(index));
  add({.operation = JournalOperation::removed, .type = type, .count = count});
  std::uint64_t needed = kSmallJournal;
  for (const TextArray& list : lists) needed += 2 * (list.joined().size() + list.size() * kFrameOfNoText);
  const std::uint64_t size = pending_.size() + (isAnew_ ? 0 : fileSize_);
  // What may not be kept does not stay in the file either.
  if (size > needed || why == Removal::consent) beginAnew(lists);
  write(lists);
}

bool Journal::hasNews(Lists lists) const {
  for (std::size_t type = 0; type < lists.size(); ++type) {
    if (known_->removedOfBase[type] > 0 || known_->bases[type].count != lists[type].size()) return true;
  }
  return false;
}

void Journal::saveBegins(Lists lists) {
  known_->saving = known_->bases;
  if (!hasNews(lists)) return;
  for (const RecordType type : kRecordTypes) {
    const ListMark mark = known_->saving[indexOf(type)] = markOf(lists[indexOf(type)]);
    add({.operation = JournalOperation::saving, .type = type, .count = mark.count, .digest = mark.digest});
  }
  write(lists);
}

void Journal::saveEnds(Lists lists, const ByType<bool>& written) {
  if (!hasNews(lists)) return;
  for (std::size_t type = 0; type < written.size(); ++type) {
    if (!written[type]) continue;
    known_->bases[type] = known_->saving[type];
    known_->removedOfBase[type] = 0;
  }
  if (std::find(written.begin(), written.end(), false) != written.end()) return;
  if (isAnew_) {
    beginAnew(lists);
    write(lists);
    return;
  }
  const Whole whole = wholeJournal(lists);
  const Replaced replaced = replaceFile(whole.content);
  if (replaced == Replaced::no) return;  // the journal goes on: it knows that the lists were saved
  pending_.clear();
  nextSequence_ = whole.frames;
  if (replaced == Replaced::notSynced) beginAnew(lists);
}

void Journal::add(const JournalFrame& frame) {
  appendFrame(pending_, nextSequence_, frame);
  ++nextSequence_;
}

/// The journal of these lists, with nothing in it that is gone.
Journal::Whole Journal::wholeJournal(Lists lists) const {
  Whole whole{.content = std::string(kJournalHead)};
  const auto put = [&](const JournalFrame& frame) { appendFrame(whole.content, whole.frames++, frame); };
  for (const RecordType type : kRecordTypes) {
    const std::size_t index = indexOf(type);
    const ListMark& base = known_->bases[index];
    put({.operation = JournalOperation::base, .type = type, .count = base.count, .digest = base.digest});
    if (const std::uint64_t removed = known_->removedOfBase[index]; removed > 0) {
      put({.operation = JournalOperation::removed, .type = type, .count = removed});
    }
    const TextArray& list = lists[index];
    for (std::size_t at = known_->inFile(index); at < list.size(); ++at) {
      put(storedFrame(type, list, at));
    }
  }
  return whole;
}

void Journal::beginAnew(Lists lists) {
  Whole whole = wholeJournal(lists);
  pending_ = std::move(whole.content);
  nextSequence_ = whole.frames;
  isAnew_ = true;
  nextAttempt_ = {};
}

/// Writes what the file lacks.
void Journal::write(Lists lists) {
  if (!isAnew_) {
    std::size_t written = 0;
    std::error_code problem = file_->append(pending_, written);
    pending_.erase(0, written);
    fileSize_ += written;
    if (!problem && options_.synced) {
      problem = file_->sync();
      if (problem) beginAnew(lists);  // the system may have forgotten what it could not write
    }
    if (problem) report("cannot be written", problem);
    if (!problem) isFailing_ = false;
    if (problem == std::errc::no_such_file_or_directory) beginAnew(lists);
  }
  if (!isAnew_ || isPausing()) return;
  if (replaceFile(pending_) == Replaced::yes) {
    pending_.clear();
    isAnew_ = false;
  } else {
    nextAttempt_ = clock_.date() + kPauseBetweenAttempts;
  }
}

/// A clock that was set back does not prolong the pause.
bool Journal::isPausing() const {
  const Date now = clock_.date();
  return now < nextAttempt_ && nextAttempt_ - now <= kPauseBetweenAttempts;
}

Journal::Replaced Journal::replaceFile(std::string_view content) {
  std::error_code problem;
  if (mustMoveAside_) problem = file_->moveAside();
  if (problem && problem != std::errc::no_such_file_or_directory) {
    report("cannot be moved aside", problem);
    return Replaced::no;
  }
  mustMoveAside_ = false;
  bool isReplaced = false;
  problem = file_->replace(content, options_.synced, isReplaced);
  if (isReplaced) fileSize_ = content.size();
  if (problem) {
    report("cannot be written", problem);
    return isReplaced ? Replaced::notSynced : Replaced::no;
  }
  isFailing_ = false;
  return Replaced::yes;
}

void Journal::report(std::string_view what, const std::error_code& reason) {
  if (reason && std::exchange(isFailing_, true)) return;
  if (!options_.onProblem) return;
  std::string problem(what);
  if (reason) problem.append(": ").append(reason.message());
  options_.onProblem(problem);
}

}  // namespace sqm::delivery
