#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/collector/storage/Arrival.h"
#include "tools/collector/storage/FactRows.h"
#include "tools/collector/storage/Sqlite.h"

namespace collector {

/// The facts of the records in an SQLite database, the clients' versions, each with the last day on which the client
/// was seen, and sums of the arrivals of each minute. The caller makes the transactions, and deletes the facts with
/// their records.
///
/// Failure: sqlite::Error.
class SqliteFacts {
 public:
  /// Creates the tables when they are missing.
  explicit SqliteFacts(sqlite::Connection& connection);

  /// Adds what a record says that is stored on a day.
  void add(const ArrivedRecord& record, const std::string& day);

  /// Counts a request.
  void count(const RequestRow& request);

  /// Deletes the clients and the minutes before a day, as many as take no long time. Returns false when there are none.
  bool dropBefore(const std::string& day);

  std::vector<FactRow> facts(const FactFilter& filter, const FactPosition& before, std::int64_t limit);
  std::int64_t countFacts(ConnectionFact::Time from, ConnectionFact::Time before, std::int64_t oneIn,
                          std::int64_t most);
  ArrivalCounts arrivals(ConnectionFact::Time from, ConnectionFact::Time to);

 private:
  sqlite::Connection& connection_;
  sqlite::Statement addFact_;
  sqlite::Statement setVersion_;
  sqlite::Statement setDay_;
  sqlite::Statement count_;
  sqlite::Statement arrivals_;
};

}  // namespace collector
