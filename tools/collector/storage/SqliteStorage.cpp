// Requests and records in an SQLite file, or in a temporary one.

#include <array>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <utility>

#include "tools/collector/storage/Sqlite.h"
#include "tools/collector/storage/SqliteFacts.h"
#include "tools/collector/storage/Storage.h"

namespace collector {

namespace {

// The identification of this program's files, which must not change, and the version of their tables.
constexpr std::uint32_t kApplicationId = 0x53514D43;  // "SQMC"
constexpr std::uint32_t kVersion = 1;
constexpr const char* kMark = "PRAGMA application_id = 0x53514D43; PRAGMA user_version = 1;";

constexpr const char* kTables = R"(
CREATE TABLE IF NOT EXISTS requests (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  time TEXT NOT NULL,
  method TEXT NOT NULL,
  path TEXT NOT NULL,
  query TEXT NOT NULL,
  contentType TEXT NOT NULL,
  bytes INTEGER NOT NULL,
  answered TEXT NOT NULL,
  records INTEGER NOT NULL,
  problem TEXT,
  headers TEXT NOT NULL,
  body BLOB NOT NULL
);
CREATE TABLE IF NOT EXISTS records (
  id INTEGER PRIMARY KEY AUTOINCREMENT,
  request INTEGER NOT NULL,
  time TEXT NOT NULL,
  path TEXT NOT NULL,
  type TEXT NOT NULL,
  subType TEXT,
  event TEXT,
  problem TEXT,
  "values" TEXT NOT NULL,
  raw TEXT NOT NULL
);
CREATE INDEX IF NOT EXISTS recordsByRequest ON records (request);
CREATE VIEW IF NOT EXISTS fields AS
  SELECT records.id AS record, pair.key AS position, pair.value ->> 0 AS name, pair.value ->> 1 AS value
  FROM records, json_each(records."values") AS pair;
)";

/// The total length of records after which a call reads no more.
constexpr std::size_t kBytesAtATime = std::size_t{4} * 1024 * 1024;

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

constexpr const char* kRequestColumns =
    "SELECT id, time, method, path, query, contentType, bytes, answered, records, problem FROM requests ";
constexpr const char* kRecordColumns =
    R"(SELECT id, request, time, path, type, subType, event, "values", raw, problem FROM records )";

RequestRow requestIn(const sqlite::Statement& row) {
  return {.id = row.number(0),
          .time = row.text(1),
          .method = row.text(2),
          .path = row.text(3),
          .query = row.text(4),
          .contentType = row.text(5),
          .bytes = row.number(6),
          .answered = row.text(7),
          .records = row.number(8),
          .problem = row.textIfAny(9)};
}

RecordRow recordIn(const sqlite::Statement& row) {
  return {.id = row.number(0),
          .request = row.number(1),
          .time = row.text(2),
          .path = row.text(3),
          .type = row.text(4),
          .subType = row.textIfAny(5),
          .event = row.textIfAny(6),
          .values = row.text(7),
          .raw = row.text(8),
          .problem = row.textIfAny(9)};
}

template <typename Row>
std::optional<Row> firstRow(sqlite::Statement& statement, Row (*read)(const sqlite::Statement&)) {
  sqlite::Rows rows(statement);
  if (!rows.next()) return std::nullopt;
  return read(statement);
}

std::string firstText(const sqlite::Statement& row) { return row.text(0); }
std::int64_t firstNumber(const sqlite::Statement& row) { return row.number(0); }

sqlite::Connection open(const std::string& file, bool syncs) {
  if (!file.empty()) checkFile(file);
  try {
    sqlite::Connection connection(file);
    // The identification is written before the journal is switched to write-ahead mode, so that it is in the file
    // itself, where the next start reads it even after a crash.
    connection.run(kMark);
    connection.run("PRAGMA journal_mode = WAL");
    connection.run(syncs ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    connection.run(kTables);
    return connection;
  } catch (const sqlite::Error& error) {
    throw CannotOpen("the database '" + file + "' cannot be opened: " + error.what());
  }
}

struct Tables {
  Tables(const std::string& file, bool syncs) : connection(open(file, syncs)) {}

  sqlite::Statement statement(const std::string& text) { return {connection, text}; }

  sqlite::Connection connection;
  sqlite::Statement addRequest = statement(
      "INSERT INTO requests (id, time, method, path, query, contentType, bytes, answered, records, problem, headers, "
      "body) "
      "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
  sqlite::Statement addRecord =
      statement(R"(INSERT INTO records (request, time, path, type, subType, event, problem, "values", raw) )"
                "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)");
  sqlite::Statement requestsSince = statement(std::string(kRequestColumns) + "WHERE id > ? ORDER BY id LIMIT ?");
  sqlite::Statement recordsSince = statement(std::string(kRecordColumns) + "WHERE id > ? ORDER BY id LIMIT ?");
  sqlite::Statement oneRequest = statement(std::string(kRequestColumns) + "WHERE id = ?");
  sqlite::Statement oneRecord = statement(std::string(kRecordColumns) + "WHERE id = ?");
  sqlite::Statement headers = statement("SELECT headers FROM requests WHERE id = ?");
  sqlite::Statement body = statement("SELECT body FROM requests WHERE id = ?");
  sqlite::Statement lastRecordUpTo =
      statement("SELECT id FROM records WHERE request <= ? ORDER BY request DESC, id DESC LIMIT 1");
  sqlite::Statement last = statement("SELECT seq FROM sqlite_sequence WHERE name = ?");
  sqlite::Statement dropRecords = statement("DELETE FROM records WHERE request <= ?");
  sqlite::Statement dropRequests = statement("DELETE FROM requests WHERE id <= ?");
  SqliteFacts facts{connection};

  std::int64_t lastOf(std::string_view table) { return firstRow(last.bind(table), firstNumber).value_or(0); }
};

class SqliteStorage : public Storage {
 public:
  explicit SqliteStorage(const StorageOptions& options)
      : mostRequests_(options.mostRequests), tables_(options.database, options.syncs) {}

  void add(std::span<Arrival* const> arrivals) override {
    const std::lock_guard lock(mutex_);
    sqlite::Transaction transaction(tables_.connection);
    std::int64_t id = tables_.lastOf("requests");
    for (Arrival* arrival : arrivals) {
      arrival->request.id = ++id;
      add(*arrival);
    }
    if (mostRequests_ > 0) {
      tables_.facts.dropUpTo(id - mostRequests_);
      tables_.dropRecords.bind(id - mostRequests_).run();
      tables_.dropRequests.bind(id - mostRequests_).run();
    }
    transaction.commit();
  }

  std::vector<RequestRow> requests(std::int64_t since, std::int64_t limit) override {
    const std::lock_guard lock(mutex_);
    sqlite::Rows rows(tables_.requestsSince.bind(since, limit));
    std::vector<RequestRow> found;
    while (rows.next()) found.push_back(requestIn(tables_.requestsSince));
    return found;
  }

  std::vector<RecordRow> records(std::int64_t since, std::int64_t limit) override {
    const std::lock_guard lock(mutex_);
    sqlite::Rows rows(tables_.recordsSince.bind(since, limit));
    std::vector<RecordRow> found;
    for (std::size_t bytes = 0; bytes < kBytesAtATime && rows.next(); bytes += found.back().raw.size()) {
      found.push_back(recordIn(tables_.recordsSince));
    }
    return found;
  }

  std::optional<RequestRow> request(std::int64_t id) override {
    const std::lock_guard lock(mutex_);
    return firstRow(tables_.oneRequest.bind(id), requestIn);
  }

  std::optional<RecordRow> record(std::int64_t id) override {
    const std::lock_guard lock(mutex_);
    return firstRow(tables_.oneRecord.bind(id), recordIn);
  }

  std::string headers(std::int64_t request) override {
    const std::lock_guard lock(mutex_);
    return firstRow(tables_.headers.bind(request), firstText).value_or("");
  }

  std::string body(std::int64_t request) override {
    const std::lock_guard lock(mutex_);
    return firstRow(tables_.body.bind(request), firstText).value_or("");
  }

  std::int64_t lastRecordUpTo(std::int64_t request) override {
    const std::lock_guard lock(mutex_);
    return firstRow(tables_.lastRecordUpTo.bind(request), firstNumber).value_or(0);
  }

  std::pair<std::int64_t, std::int64_t> last() override {
    const std::lock_guard lock(mutex_);
    return {tables_.lastOf("requests"), tables_.lastOf("records")};
  }

  std::vector<FactRow> facts(ConnectionFact::Time from, const FactPosition& before, std::int64_t limit) override {
    const std::lock_guard lock(mutex_);
    return tables_.facts.facts(from, before, limit);
  }

  ArrivalCounts arrivals(ConnectionFact::Time from, ConnectionFact::Time to) override {
    const std::lock_guard lock(mutex_);
    return tables_.facts.arrivals(from, to);
  }

 private:
  void add(const Arrival& arrival) {
    const RequestRow& request = arrival.request;
    for (const ArrivedRecord& record : arrival.records) {
      tables_.addRecord
          .bind(request.id, request.time, request.path, record.type, record.subType, record.event, record.problem,
                record.values, record.raw)
          .run();
      tables_.facts.add(record, tables_.connection.lastId());
    }
    tables_.facts.count(request);
    tables_.addRequest
        .bind(request.id, request.time, request.method, request.path, request.query, request.contentType, request.bytes,
              request.answered, request.records, request.problem, arrival.headers, sqlite::Blob{arrival.body})
        .run();
  }

  std::mutex mutex_;
  const std::int64_t mostRequests_;
  Tables tables_;
};

}  // namespace

std::unique_ptr<Storage> openStorage(const StorageOptions& options) {
  try {
    return std::make_unique<SqliteStorage>(options);
  } catch (const sqlite::Error& error) {
    throw CannotOpen("the database '" + options.database + "' cannot be read: " + error.what());
  }
}

}  // namespace collector
