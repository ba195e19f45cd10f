#pragma once

#include <cstdint>
#include <vector>

#include "tools/collector/storage/Arrival.h"
#include "tools/collector/storage/FactRows.h"
#include "tools/collector/storage/Sqlite.h"

namespace collector {

/// The facts of the records in an SQLite database, the clients' versions, and sums of the arrivals of each minute. The
/// caller makes the transactions, and deletes the facts with their records.
///
/// Failure: sqlite::Error.
class SqliteFacts {
 public:
  /// Creates the tables when they are missing.
  explicit SqliteFacts(sqlite::Connection& connection);

  /// Adds what a record says that is stored.
  void add(const ArrivedRecord& record);

  /// Counts a request.
  void count(const RequestRow& request);

  std::vector<FactRow> facts(const FactFilter& filter, const FactPosition& before, std::int64_t limit);
  FactCounts countFacts(const FactFilter& filter, const FactPosition& before, std::int64_t most);
  ArrivalCounts arrivals(ConnectionFact::Time from, ConnectionFact::Time to);

 private:
  sqlite::Connection& connection_;
  sqlite::Statement addFact_;
  sqlite::Statement setVersion_;
  sqlite::Statement count_;
  sqlite::Statement arrivals_;
};

}  // namespace collector
