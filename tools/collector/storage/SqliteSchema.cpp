#include "tools/collector/storage/SqliteSchema.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <utility>

#include "tools/collector/storage/Arrival.h"
#include "tools/collector/storage/Days.h"
#include "tools/collector/storage/Samples.h"
#include "tools/collector/storage/SqliteFacts.h"
#include "tools/collector/storage/Storage.h"

namespace collector::schema {

namespace {

// The identification of this program's files, which must not change, and the version of their tables.
constexpr std::uint32_t kApplicationId = 0x53514D43;  // "SQMC"
constexpr std::uint32_t kVersion = 4;
constexpr const char* kMark = "PRAGMA application_id = 0x53514D43; PRAGMA user_version = 4;";

// SQLite allows 500 tables in a view. After so many days the last day's tables get what arrives.
constexpr std::size_t kMostDays = 400;

constexpr std::int64_t kRequestsAtATime = 500;  // that are deleted in one transaction

// What waits for another program waits no longer: the keeper tries again. The cache holds the pages of the keys that
// are in use. The write-ahead log is copied to the file when it has 16 MiB.
constexpr const char* kTuning =
    "PRAGMA busy_timeout = 500; PRAGMA cache_size = -65536; PRAGMA wal_autocheckpoint = 4000;";

constexpr const char* kTables = R"(
CREATE TABLE days (day TEXT PRIMARY KEY) WITHOUT ROWID;
CREATE TABLE last (request INTEGER NOT NULL, record INTEGER NOT NULL);
CREATE TABLE keys (key BLOB PRIMARY KEY) WITHOUT ROWID;
CREATE TABLE progress (source TEXT PRIMARY KEY, request INTEGER NOT NULL) WITHOUT ROWID;
INSERT INTO last VALUES (0, 0);
)";

constexpr const char* kSpans = R"(
CREATE TABLE IF NOT EXISTS spans (firstRequest INTEGER PRIMARY KEY, firstRecord INTEGER NOT NULL, day TEXT NOT NULL);
CREATE INDEX IF NOT EXISTS spansByRecord ON spans (firstRecord);
)";

// In the tables of a day, # stands for the day.
constexpr const char* kTablesOfDay = R"(
CREATE TABLE requests_# (
  id INTEGER PRIMARY KEY,
  time TEXT NOT NULL,
  method TEXT NOT NULL,
  path TEXT NOT NULL,
  query TEXT NOT NULL,
  contentType TEXT NOT NULL,
  bytes INTEGER NOT NULL,
  answered TEXT NOT NULL,
  records INTEGER NOT NULL,
  duplicates INTEGER NOT NULL,
  lastRecord INTEGER NOT NULL,
  problem TEXT,
  headers TEXT NOT NULL,
  body BLOB NOT NULL
);
CREATE TABLE records_# (
  id INTEGER PRIMARY KEY,
  request INTEGER NOT NULL,
  time TEXT NOT NULL,
  path TEXT NOT NULL,
  type TEXT NOT NULL,
  subType TEXT,
  event TEXT,
  problem TEXT,
  "values" TEXT NOT NULL,
  raw TEXT NOT NULL,
  key BLOB
);
INSERT INTO days VALUES ('#');
)";

constexpr std::string_view kRequestsOfDay =
    "SELECT id, time, method, path, query, contentType, bytes, answered, records, duplicates, lastRecord, problem, "
    "headers, body FROM requests_#";
constexpr std::string_view kRecordsOfDay =
    R"(SELECT id, request, time, path, type, subType, event, problem, "values", raw FROM records_#)";
constexpr std::string_view kFields = R"(CREATE VIEW fields AS
  SELECT records.id AS record, pair.key AS position, pair.value ->> 0 AS name, pair.value ->> 1 AS value
  FROM records, json_each(records."values") AS pair;
)";

// From version 1, whose two tables become those of the day of their last request.
constexpr const char* kFromVersion1 = R"(
DROP VIEW fields;
ALTER TABLE requests RENAME TO requests_#;
ALTER TABLE records RENAME TO records_#;
ALTER TABLE requests_# ADD COLUMN duplicates INTEGER NOT NULL DEFAULT 0;
ALTER TABLE requests_# ADD COLUMN lastRecord INTEGER NOT NULL DEFAULT 0;
ALTER TABLE records_# ADD COLUMN key BLOB;
UPDATE last SET request = coalesce((SELECT seq FROM sqlite_sequence WHERE name = 'requests_#'), 0),
                record = coalesce((SELECT seq FROM sqlite_sequence WHERE name = 'records_#'), 0);
UPDATE requests_# SET lastRecord = coalesce((SELECT id FROM records_# WHERE request <= requests_#.id
                                             ORDER BY request DESC, id DESC LIMIT 1), 0);
INSERT INTO days VALUES ('#');
INSERT INTO spans VALUES (1, 1, '#');
)";

/// The statements for one day.
std::string forDay(std::string_view statements, std::string_view day) {
  std::string text;
  for (const char character : statements) character == '#' ? text += day : text += character;
  return text;
}

/// The program that made the file, by its first bytes. SQLite is not used for this: opening a file can change it.
enum class Owner : std::uint8_t { nobody, us, laterVersion, another };

Owner ownerOf(const std::string& file) {
  std::array<char, 100> header{};
  std::ifstream stream(file, std::ios::binary);
  stream.read(header.data(), header.size());
  if (stream.gcount() == 0) return Owner::nobody;
  const auto numberAt = [&](std::size_t at) {
    std::uint32_t number = 0;
    for (std::size_t i = at; i < at + 4; ++i) number = number << 8 | static_cast<unsigned char>(header[i]);
    return number;
  };
  constexpr std::string_view kFormat("SQLite format 3\0", 16);
  const bool isDatabase = stream.gcount() == 100 && std::string_view(header.data(), kFormat.size()) == kFormat;
  if (!isDatabase || numberAt(68) != kApplicationId) return Owner::another;
  return numberAt(60) <= kVersion ? Owner::us : Owner::laterVersion;
}

void checkFile(const std::string& file) {
  std::error_code ignored;
  if (std::filesystem::exists(file, ignored) && !std::filesystem::is_regular_file(file, ignored)) {
    throw CannotOpen("'" + file + "' is no file");
  }
  switch (ownerOf(file)) {
    case Owner::nobody:
    case Owner::us:
      return;
    case Owner::laterVersion:
      throw CannotOpen("'" + file + "' was made by a later version of this program");
    case Owner::another:
      throw CannotOpen("'" + file + "' is no database of this program, and stays as it is; name another file");
  }
}

std::optional<std::string> oneText(sqlite::Connection& connection, const std::string& query) {
  sqlite::Statement statement(connection, query);
  sqlite::Rows rows(statement);
  if (!rows.next()) return std::nullopt;
  return statement.textIfAny(0);
}

/// Makes the views anew. There is a day.
void makeViews(sqlite::Connection& connection) {
  std::string requests;
  std::string records;
  for (const std::string& day : days(connection)) {
    requests += (requests.empty() ? "CREATE VIEW requests AS " : " UNION ALL ") + forDay(kRequestsOfDay, day);
    records += (records.empty() ? "CREATE VIEW records AS " : " UNION ALL ") + forDay(kRecordsOfDay, day);
  }
  connection.run("DROP VIEW IF EXISTS fields; DROP VIEW IF EXISTS records; DROP VIEW IF EXISTS requests;");
  connection.run((requests + ";" + records + ";" + std::string(kFields)).c_str());
}

/// Makes the keys and the facts of a version that had none. No statement is open while another writes: SQLite would
/// keep a journal of all that is written meanwhile.
void makeKeysAndFacts(sqlite::Connection& connection, const std::string& day, const FieldMapping& mapping) {
  SqliteFacts facts(connection);
  sqlite::Statement next(connection,
                         "SELECT id, time, path, body FROM requests_" + day + " WHERE id > ? ORDER BY id LIMIT 1");
  sqlite::Statement records(connection, "SELECT id FROM records_" + day + " WHERE request = ? ORDER BY id");
  sqlite::Statement setKey(connection, "UPDATE records_" + day + " SET key = ? WHERE id = ?");
  sqlite::Statement addKey(connection, "INSERT OR IGNORE INTO keys VALUES (?)");
  for (std::int64_t id = 0; next.bind(id).next();) {
    id = next.number(0);
    Arrival arrival({.time = next.text(1), .path = next.text(2)}, "", next.text(3), mapping);
    next.reset();
    facts.count(arrival.request);
    records.bind(id);
    for (ArrivedRecord& record : arrival.records) record.id = records.next() ? records.number(0) : 0;
    records.reset();
    for (const ArrivedRecord& record : arrival.records) {
      if (record.id == 0) break;
      const sqlite::Blob key{bytesOf(record.key)};
      setKey.bind(key, record.id).run();
      addKey.bind(key).run();
      if (connection.hasChanged()) facts.add(record, day);
    }
  }
}

/// Makes the numbers of the facts of a version that had no samples.
void makeSamples(sqlite::Connection& connection) {
  connection.run("ALTER TABLE facts ADD COLUMN sample INTEGER NOT NULL DEFAULT 0");
  sqlite::Statement next(connection, "SELECT id, client, session FROM facts WHERE id > ? ORDER BY id LIMIT 1");
  sqlite::Statement set(connection, "UPDATE facts SET sample = ? WHERE id = ?");
  for (std::int64_t id = 0; next.bind(id).next();) {
    id = next.number(0);
    const std::int64_t sample = sampleOf(next.text(1), next.text(2), id);
    next.reset();
    set.bind(sample, id).run();
  }
}

/// Gives the clients of a version that had no days this one.
void addDays(sqlite::Connection& connection) {
  const std::string today = firstOfDays(1);
  connection.run(("ALTER TABLE clients ADD COLUMN day TEXT NOT NULL DEFAULT '" + today + "'").c_str());
}

/// Brings the tables to this version.
void convert(sqlite::Connection& connection, const FieldMapping& mapping) {
  sqlite::Transaction transaction(connection);
  connection.run(kSpans);
  const std::string version = oneText(connection, "PRAGMA user_version").value_or("");
  const auto hasTable = [&](const std::string& name) {
    return oneText(connection, "SELECT name FROM sqlite_schema WHERE name = '" + name + "'").has_value();
  };
  const auto lacks = [&](const std::string& table, const std::string& column) {
    const std::string query = "SELECT name FROM pragma_table_info('" + table + "') WHERE name = '" + column + "'";
    return hasTable(table) && !oneText(connection, query);
  };
  if (version == "1") {
    const std::string day =
        dayOf(oneText(connection, "SELECT time FROM requests ORDER BY id DESC LIMIT 1").value_or(""));
    connection.run(kTables);
    connection.run(forDay(kFromVersion1, day).c_str());
    makeKeysAndFacts(connection, day, mapping);
    connection.run("DROP INDEX recordsByRequest");
    makeViews(connection);
  } else if (!hasTable("days")) {
    connection.run(kTables);
    dayFor(connection, *oneText(connection, "SELECT strftime('%Y-%m-%d')"));
  }
  if (lacks("facts", "sample")) makeSamples(connection);
  if (lacks("clients", "day")) addDays(connection);
  if (version != std::to_string(kVersion)) connection.run(kMark);
  transaction.commit();
}

/// Deletes the requests of a day up to this one, with their records and the keys of these.
void dropRequests(sqlite::Connection& connection, const std::string& day, std::int64_t upTo) {
  const auto run = [&](const char* text, std::int64_t number) {
    sqlite::Statement(connection, forDay(text, day)).bind(number).run();
  };
  const auto record =
      oneText(connection, forDay("SELECT max(lastRecord) FROM requests_# WHERE id <= ", day) + std::to_string(upTo));
  if (!record) return;
  const std::int64_t lastRecord = std::stoll(*record);
  run("DELETE FROM keys WHERE key IN (SELECT key FROM records_# WHERE id <= ?)", lastRecord);
  run("DELETE FROM facts WHERE id IN (SELECT id FROM records_# WHERE id <= ?)", lastRecord);
  run("DELETE FROM records_# WHERE id <= ?", lastRecord);
  run("DELETE FROM requests_# WHERE id <= ?", upTo);
}

}  // namespace

sqlite::Connection open(const std::string& file, bool syncs, const FieldMapping& mapping) {
  if (!file.empty()) checkFile(file);
  try {
    sqlite::Connection connection(file);
    // The identification is written before the journal is switched to write-ahead mode, so that it is in the file
    // itself, where the next start reads it even after a crash.
    if (oneText(connection, "PRAGMA user_version") == "0") connection.run(kMark);
    connection.run("PRAGMA journal_mode = WAL");
    connection.run(syncs ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    convert(connection, mapping);
    connection.run(kTuning);
    return connection;
  } catch (const sqlite::Error& error) {
    throw CannotOpen("the database '" + file + "' cannot be opened: " + error.what());
  }
}

std::vector<std::string> days(sqlite::Connection& connection) {
  sqlite::Statement statement(connection, "SELECT day FROM days ORDER BY day");
  std::vector<std::string> days;
  while (statement.next()) days.push_back(statement.text(0));
  return days;
}

std::string dayFor(sqlite::Connection& connection, std::string_view time) {
  std::string day = dayOf(time);
  const auto known = days(connection);
  if (std::ranges::binary_search(known, day)) return day;
  if (known.size() >= kMostDays) return known.back();
  connection.run(forDay(kTablesOfDay, day).c_str());
  makeViews(connection);
  return day;
}

bool dropDay(sqlite::Connection& connection, const std::string& day) {
  const std::string upTo =
      "SELECT max(id) FROM (SELECT id FROM requests_# ORDER BY id LIMIT " + std::to_string(kRequestsAtATime) + ")";
  if (const auto last = oneText(connection, forDay(upTo, day))) {
    dropRequests(connection, day, std::stoll(*last));
    return true;
  }
  if (days(connection).size() == 1) return false;
  connection.run(forDay("DELETE FROM days WHERE day = '#'; DELETE FROM spans WHERE day = '#';", day).c_str());
  makeViews(connection);
  connection.run(forDay("DROP TABLE requests_#; DROP TABLE records_#;", day).c_str());
  return true;
}

void dropUpTo(sqlite::Connection& connection, std::int64_t request) {
  for (const std::string& day : days(connection)) dropRequests(connection, day, request);
}

}  // namespace collector::schema
