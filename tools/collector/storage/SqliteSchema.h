#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/collector/service/FieldMapping.h"
#include "tools/collector/storage/Sqlite.h"

/// The layout of an SQLite file of this program.
///
/// Requests and records are in two tables for each day, requests_20261122 and records_20261122, which are deleted
/// together; the views `requests`, `records` and `fields` show those of all days. `keys` has the keys of all records.
/// `last` has the numbers of the last request and record that were ever stored, `spans` the days of all numbers.
/// `progress` says how far other databases were copied.
namespace collector::schema {

/// Opens a file for writing. Creates the tables in a new one, and converts one of an earlier version, as a whole or not
/// at all. Throws CannotOpen, also for a file of another program, which it does not change.
sqlite::Connection open(const std::string& file, bool syncs, const FieldMapping& mapping);

/// The days that have tables, the earliest first.
std::vector<std::string> days(sqlite::Connection& connection);

/// The day whose tables get what arrived at `time` (ISO 8601). Creates them when they are missing. Call it within a
/// transaction.
std::string dayFor(sqlite::Connection& connection, std::string_view time);

/// Deletes the first requests of a day, as many as take no long time, and their records; when there are none, the day's
/// tables, unless it is the only day. Returns false when there was nothing to delete. Call it within a transaction.
bool dropDay(sqlite::Connection& connection, const std::string& day);

/// Deletes the requests up to this one, and their records. Call it within a transaction.
void dropUpTo(sqlite::Connection& connection, std::int64_t request);

}  // namespace collector::schema
