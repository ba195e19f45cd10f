#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "sqm/common/AppendFile.h"
#include "sqm/common/Host.h"
#include "sqm/common/RecordJournal.h"
#include "sqm/common/UploadQueueRules.h"
#include "sqm/delivery/DeliveryStatistics.h"
#include "sqm/delivery/Limits.h"
#include "sqm/delivery/Outcomes.h"

namespace sqm::delivery {

/// What was dropped.
struct Drop {
  std::optional<RecordType> type = {};  ///< of the list; nothing: the upload queue
  std::uint64_t count = 0;              ///< of the records or requests
  DropReason reason = DropReason::records;
};

/// Called after something was dropped: on the main thread for a list, on that of the caller for the queue. It must not
/// throw, and must not use the library.
using DropObserver = std::function<void(const Drop& drop)>;

/// Counts what becomes of the records and of the queue's requests, and drops what exceeds the limits. The counts are
/// kept in a file over the end of the process.
///
/// Without a journal the file describes the lists as they were saved last. With one it is written when records were
/// posted or dropped for their age, and after other removals at most once a second. When a process begins, records that
/// the lists hold and the file does not know count as accepted, records that the lists lack as lost, and the file is
/// written if there are any.
///
/// An age is that of the record since it was stored, in whole seconds; of one that the file does not know, since the
/// process began that found it. Its limit applies when the list is used: at the next record, save or upload.
///
/// Ownership: `host` and `inner` are borrowed. The host's clock may be replaced later.
/// Threading: that of the two interfaces; `statistics` on any thread.
/// Failure: a file that cannot be read or written is told to `onProblem`, once until it can be written again; the
/// counts go on in memory. One that is damaged is moved aside, and the counts begin with what the lists hold.
class RecordLedger final : public RecordJournal, public UploadQueueRules {
 public:
  struct Options {
    Limits limits = {};
    /// What the file has survives a loss of power.
    bool synced = false;
    /// The outcome of the exchange that is being reported, if there is one.
    std::function<std::optional<Outcome>()> outcome = {};
    DropObserver onDrop = {};
    /// Called with what is wrong with the file, in one line without its path.
    std::function<void(const std::string& problem)> onProblem = {};
  };

  /// Reads the file. Without one (null), the counts are in memory alone. `inner` is the journal, null without one.
  RecordLedger(std::unique_ptr<AppendFile> file, const Host& host, RecordJournal* inner, Options options);
  RecordLedger(const RecordLedger&) = delete;
  RecordLedger& operator=(const RecordLedger&) = delete;
  ~RecordLedger() override;

  DeliveryStatistics statistics() const;

  /// Counts a file that the folder `Refused` had. On the main thread.
  void refusedBodyDropped(DropReason reason);

  Surplus surplusOf(Lists lists, RecordType type) override;
  bool keepsUnsent() const override { return inner_ != nullptr && inner_->keepsUnsent(); }
  void listsLoaded(std::span<TextArray> lists) override;
  void recordStored(Lists lists, RecordType type) override;
  void recordsRemoved(Lists lists, RecordType type, std::size_t count, Removal why) override;
  void saveBegins(Lists lists) override;
  void saveEnds(Lists lists, const ByType<bool>& written) override;

  bool mayQueue() const override { return true; }
  void queueLoaded(UploadRequests& queue) override;
  void requestQueued(UploadRequests& queue, bool isSending) override;
  void requestPosted(const UploadRequests& queue) override;
  void rulesChanged(UploadRequests& queue) override;

 private:
  struct Kind {
    DeliveryCounts& counts;
    StoredTimes& times;
    const Limit& limit;
  };

  Kind kindOf(RecordType type) {
    const std::size_t at = indexOf(type);
    return {kept_.counts.lists[at], kept_.listTimes[at], options_.limits.lists[at]};
  }
  Kind queue() { return {kept_.counts.queue, kept_.queueTimes, options_.limits.queue}; }
  void read();
  void write(bool withLists);
  void fit(Kind kind, std::uint64_t count);
  void add(Kind kind);
  void remove(Kind kind, std::uint64_t count, std::optional<DropReason> reason);
  std::optional<DropReason> dropReasonOf(Removal why) const;
  void boundQueue(UploadRequests& queue, std::size_t kept);
  void dropped(const Drop& drop) const;
  std::int64_t now() const;
  void report(const std::string& what, const std::error_code& reason);

  const std::unique_ptr<AppendFile> file_;
  const Host& host_;
  RecordJournal* const inner_;
  const Options options_;

  mutable std::mutex mutex_;  // guards the next two
  KeptStatistics kept_;
  bool hasNews_ = false;  // that the file does not have

  KeptStatistics saved_;        // what the file is to have, where that is not `kept_`
  bool lacksRemovals_ = false;  // the file does, which were made in the second of its last write
  bool isFailing_ = false;
  std::int64_t lastWrite_ = 0;
};

}  // namespace sqm::delivery
