#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

#include "sqm/common/AppendFile.h"
#include "sqm/common/Clock.h"
#include "sqm/common/RecordJournal.h"

namespace sqm::delivery {

struct JournalFrame;

/// The journal's file, in the SQM folder. On disk: not to change.
inline constexpr std::string_view kJournalFile = "SQMJournal";

/// Called with what is wrong with a journal, in one line without its path.
using JournalObserver = std::function<void(const std::string& problem)>;

/// What becomes of records that were stored and not yet saved.
enum class Recording : std::uint8_t {
  asRequired,         ///< they are in memory until the next save
  survivesCrash,      ///< each is in a journal when the call returns; lists are saved atomically
  survivesPowerLoss,  ///< and on the disk, as the host's `syncWithin` says
};

/// Changes lists that were read from their files to what they and the content of their journal give together. A journal
/// that is empty, damaged from its first byte on, or of another version changes nothing.
void applyJournal(std::string_view journal, std::span<TextArray> lists);

/// A `RecordJournal` in one file: a record costs one append, however many are stored. After the process has ended in
/// any way, the lists' files and the journal together give exactly the records that were stored and not removed, in
/// their order. The lists must be saved atomically.
///
/// While the file cannot be written, its frames are kept in memory, and later calls write them.
///
/// Ownership: the file is owned; the clock is borrowed.
/// Threading: one thread.
/// Failure: told to the observer, once until the file can be written again.
class Journal final : public RecordJournal {
 public:
  struct Options {
    /// What a call has written survives a loss of power, as the file's `sync` promises.
    bool synced = false;
    JournalObserver onProblem = {};
  };

  Journal(std::unique_ptr<AppendFile> file, const Clock& clock, Options options);
  ~Journal() override;

  void listsLoaded(std::span<TextArray> lists) override;
  void recordStored(Lists lists, RecordType type) override;
  void recordsRemoved(Lists lists, RecordType type, std::size_t count, Removal why) override;
  void saveBegins(Lists lists) override;
  void saveEnds(Lists lists, const ByType<bool>& written) override;

 private:
  struct Known;  // what the files of the lists hold
  struct Whole {
    std::string content;
    std::uint64_t frames = 0;
  };

  bool replayFile(std::span<TextArray> lists);
  void add(const JournalFrame& frame);
  void write(Lists lists);
  enum class Replaced { no, yes, notSynced };
  Replaced replaceFile(std::string_view content);
  bool isPausing() const;
  void beginAnew(Lists lists);
  Whole wholeJournal(Lists lists) const;
  bool hasNews(Lists lists) const;
  void report(std::string_view what, const std::error_code& reason);

  std::unique_ptr<AppendFile> file_;
  const Clock& clock_;
  Options options_;
  std::unique_ptr<Known> known_;

  std::uint64_t nextSequence_ = 0;
  std::uint64_t fileSize_ = 0;  // in bytes
  std::string pending_;         // what the file lacks; the whole journal when it `isAnew_`
  bool isAnew_ = false;         // the file is to be replaced
  bool mustMoveAside_ = false;  // the file at the path is not to be lost when it is replaced
  bool isFailing_ = false;
  Date nextAttempt_{};  // to replace the file
};

}  // namespace sqm::delivery
