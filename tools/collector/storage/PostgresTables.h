#pragma once

#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "tools/collector/storage/Arrival.h"
#include "tools/collector/storage/Postgres.h"

namespace collector::postgres {

// Requests and records are partitioned by day. The row of `last` has the numbers of the last request and record; it is
// locked from before the first number of a transaction until its commit, so that transactions commit in the order of
// their numbers: who reads after a number misses nothing that is committed later.

/// Creates what is missing.
void createTables(Connection& connection);

/// Creates the tables of a day when they are missing.
void createDay(Connection& connection, const std::string& day);

/// Deletes a piece of the first day when it is before `day`; else a piece of the clients and the minutes before `day`.
/// Returns false when there is nothing to delete.
bool dropBefore(Connection& connection, const std::string& day);

/// The numbers of the arrivals that are stored, because an attempt succeeded that was taken for a failure. Call it with
/// the lock on `last`: the transaction of that attempt has then ended.
std::set<std::int64_t> storedOf(Connection& connection, std::span<Arrival* const> arrivals);

/// The statements that delete the requests up to this one, with their records.
std::vector<Statement> dropUpTo(std::int64_t request);

/// Stores numbered arrivals. `versions` has the rows of `versionsOf`.
void insert(Connection& connection, std::span<Arrival* const> arrivals, const std::string& day, LastNumbers before,
            const Rows& versions);

}  // namespace collector::postgres
