#include "tools/collector/Database.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <utility>

#include "tools/collector/Json.h"
#include "tools/collector/RecordReader.h"
#include "tools/collector/Sqlite.h"

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

sqlite::Connection open(const std::string& file) {
  if (!file.empty()) checkFile(file);
  try {
    sqlite::Connection connection(file);
    // The identification is written before the journal is switched to write-ahead mode, so that it is in the file
    // itself, where the next start reads it even after a crash.
    connection.run(kMark);
    connection.run("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;");
    connection.run(kTables);
    return connection;
  } catch (const sqlite::Error& error) {
    throw CannotOpen("the database '" + file + "' cannot be opened: " + error.what());
  }
}

}  // namespace

struct Database::Tables {
  explicit Tables(const std::string& file) : connection(open(file)) {}

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

  std::int64_t lastOf(std::string_view table) { return firstRow(last.bind(table), firstNumber).value_or(0); }
};

Database::Database(const std::string& file, std::int64_t mostRequests) : mostRequests_(mostRequests) {
  try {
    tables_ = std::make_unique<Tables>(file);
  } catch (const sqlite::Error& error) {
    throw CannotOpen("the database '" + file + "' cannot be read: " + error.what());
  }
}

Database::~Database() = default;

RequestRow Database::add(RequestRow request, std::string_view headers, std::string_view body) {
  const std::lock_guard lock(mutex_);
  Tables& tables = *tables_;
  sqlite::Transaction transaction(tables.connection);
  request.id = tables.lastOf("requests") + 1;
  request.bytes = static_cast<std::int64_t>(body.size());
  request.problem = readRecords(request.path, body, [&](const Record& record) {
    ++request.records;
    const std::string values = pairsJson(record.values);
    tables.addRecord
        .bind(request.id, request.time, request.path, record.type, record.subType, record.event, record.problem, values,
              record.raw)
        .run();
  });
  tables.addRequest
      .bind(request.id, request.time, request.method, request.path, request.query, request.contentType, request.bytes,
            request.answered, request.records, request.problem, headers, sqlite::Blob{body})
      .run();
  if (mostRequests_ > 0) {
    tables.dropRecords.bind(request.id - mostRequests_).run();
    tables.dropRequests.bind(request.id - mostRequests_).run();
  }
  transaction.commit();
  return request;
}

std::vector<RequestRow> Database::requests(std::int64_t since, std::int64_t limit) {
  const std::lock_guard lock(mutex_);
  sqlite::Rows rows(tables_->requestsSince.bind(since, limit));
  std::vector<RequestRow> found;
  while (rows.next()) found.push_back(requestIn(tables_->requestsSince));
  return found;
}

std::vector<RecordRow> Database::records(std::int64_t since, std::int64_t limit) {
  const std::lock_guard lock(mutex_);
  sqlite::Rows rows(tables_->recordsSince.bind(since, limit));
  std::vector<RecordRow> found;
  for (std::size_t bytes = 0; bytes < kBytesAtATime && rows.next(); bytes += found.back().raw.size()) {
    found.push_back(recordIn(tables_->recordsSince));
  }
  return found;
}

std::optional<RequestRow> Database::request(std::int64_t id) {
  const std::lock_guard lock(mutex_);
  return firstRow(tables_->oneRequest.bind(id), requestIn);
}

std::optional<RecordRow> Database::record(std::int64_t id) {
  const std::lock_guard lock(mutex_);
  return firstRow(tables_->oneRecord.bind(id), recordIn);
}

std::string Database::headers(std::int64_t request) {
  const std::lock_guard lock(mutex_);
  return firstRow(tables_->headers.bind(request), firstText).value_or("");
}

std::string Database::body(std::int64_t request) {
  const std::lock_guard lock(mutex_);
  return firstRow(tables_->body.bind(request), firstText).value_or("");
}

std::int64_t Database::lastRecordUpTo(std::int64_t request) {
  const std::lock_guard lock(mutex_);
  return firstRow(tables_->lastRecordUpTo.bind(request), firstNumber).value_or(0);
}

std::pair<std::int64_t, std::int64_t> Database::last() {
  const std::lock_guard lock(mutex_);
  return {tables_->lastOf("requests"), tables_->lastOf("records")};
}

}  // namespace collector
