#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "tools/collector/storage/Arrival.h"
#include "tools/collector/storage/FactRows.h"
#include "tools/collector/storage/Rows.h"

namespace collector {

/// Why a database cannot be opened; the text is for the user.
class CannotOpen : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// How far the requests of another database were copied.
struct Progress {
  std::string source;  ///< the path of its file
  std::int64_t request = 0;
};

/// The requests that arrived, and their records.
///
/// Failure: an exception that is a std::exception, whose text names the reason.
/// Threading: any thread.
class Storage {
 public:
  Storage() = default;
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;
  virtual ~Storage() = default;

  /// Stores the arrivals in one transaction and sets their numbers. A record that is stored already, with this or an
  /// earlier request, is not stored again. `progress` is stored with them. When it returns, they survive the end of the
  /// process and of the machine. When it throws, none is stored, unless the connection to the database was lost while
  /// the transaction was committed. They can be added again: what was stored all the same is not stored twice.
  virtual void add(std::span<Arrival* const> arrivals, const std::optional<Progress>& progress) = 0;
  void add(std::span<Arrival* const> arrivals) { add(arrivals, std::nullopt); }

  /// The next rows after `since`, oldest first: at most `limit`, and fewer when they are large or of several days.
  /// Empty only when there are no more.
  virtual std::vector<RequestRow> requests(std::int64_t since, std::int64_t limit) = 0;
  virtual std::vector<RecordRow> records(std::int64_t since, std::int64_t limit) = 0;

  virtual std::optional<RequestRow> request(std::int64_t id) = 0;
  virtual std::optional<RecordRow> record(std::int64_t id) = 0;
  virtual std::string headers(std::int64_t request) = 0;  ///< empty when there is no such request
  virtual std::string body(std::int64_t request) = 0;     ///< empty when there is no such request

  /// The number of the last record of the requests up to this one; 0 when they have none.
  virtual std::int64_t lastRecordUpTo(std::int64_t request) = 0;

  virtual LastNumbers last() = 0;

  /// The next facts before a position, the newest first: at most `limit`.
  virtual std::vector<FactRow> facts(const FactFilter& filter, const FactPosition& before, std::int64_t limit) = 0;

  /// How many facts of one in so many clients (a number of kSamples) there are from a time on, before another. Counting
  /// stops at `most`.
  virtual std::int64_t countFacts(ConnectionFact::Time from, ConnectionFact::Time before, std::int64_t oneIn,
                                  std::int64_t most) = 0;

  /// Sums over the requests of the minutes of a window, its ends included.
  virtual ArrivalCounts arrivals(ConnectionFact::Time from, ConnectionFact::Time to) = 0;

  /// The request of a source up to which its requests were copied; 0 when there is none.
  virtual std::int64_t progressOf(const std::string& source) = 0;

  /// Deletes what is to be kept no longer, as much as takes no long time. Returns true when there is more.
  virtual bool tidy() = 0;
};

/// What a storage is to do beside storing.
struct StorageOptions {
  std::string database{};         ///< a file, or postgresql://…; empty: a temporary file, which is deleted at the end
  std::int64_t mostRequests = 0;  ///< when there are more, the oldest are deleted; 0 keeps all
  int mostDays = 0;               ///< what arrived on earlier days is deleted; 0 keeps all
  bool syncs = true;              ///< false: a loss of power may take the last arrivals
};

/// The mapping is for the records of a database of an earlier version. Throws CannotOpen, also for a file of another
/// program, which it does not change.
std::unique_ptr<Storage> openStorage(const StorageOptions& options, const FieldMapping& fields = {});

}  // namespace collector
