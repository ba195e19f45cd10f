// Requests and records in an SQLite file, or in a temporary one.

#include "tools/collector/storage/SqliteStorage.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "tools/collector/storage/Days.h"
#include "tools/collector/storage/ReadRows.h"
#include "tools/collector/storage/Sqlite.h"
#include "tools/collector/storage/SqliteFacts.h"
#include "tools/collector/storage/SqliteSchema.h"

namespace collector {

namespace {

LastNumbers lastIn(const sqlite::Statement& row) { return {.request = row.number(0), .record = row.number(1)}; }
std::string firstText(const sqlite::Statement& row) { return row.text(0); }
std::int64_t firstNumber(const sqlite::Statement& row) { return row.number(0); }

template <typename Row>
std::optional<Row> firstRow(sqlite::Statement& statement, Row (*read)(const sqlite::Statement&)) {
  sqlite::Rows rows(statement);
  if (!rows.next()) return std::nullopt;
  return read(statement);
}

/// A connection, which one thread uses at a time.
struct Shared {
  explicit Shared(sqlite::Connection opened) : connection(std::move(opened)) {}
  sqlite::Connection connection;
  std::mutex mutex;
};

/// The statements that read. They see all days.
class Reader {
 public:
  explicit Reader(Shared& shared) : shared_(shared) {}

  std::vector<RequestRow> requests(std::int64_t since, std::int64_t limit) {
    const std::lock_guard lock(shared_.mutex);
    sqlite::Rows rows(requestsSince_.bind(since, limit));
    std::vector<RequestRow> found;
    while (rows.next()) found.push_back(requestIn(requestsSince_));
    return found;
  }

  std::vector<RecordRow> records(std::int64_t since, std::int64_t limit) {
    const std::lock_guard lock(shared_.mutex);
    sqlite::Rows rows(recordsSince_.bind(since, limit));
    std::vector<RecordRow> found;
    for (std::size_t bytes = 0; bytes < kBytesAtATime && rows.next(); bytes += found.back().raw.size()) {
      found.push_back(recordIn(recordsSince_));
    }
    return found;
  }

  std::optional<RequestRow> request(std::int64_t id) { return first(oneRequest_, id, requestIn<sqlite::Statement>); }
  std::optional<RecordRow> record(std::int64_t id) { return first(oneRecord_, id, recordIn<sqlite::Statement>); }
  std::optional<std::string> headers(std::int64_t request) { return first(headers_, request, firstText); }
  std::optional<std::string> body(std::int64_t request) { return first(body_, request, firstText); }
  std::optional<std::int64_t> lastRecordUpTo(std::int64_t request) { return first(lastRecord_, request, firstNumber); }

  LastNumbers last() {
    const std::lock_guard lock(shared_.mutex);
    return firstRow(last_, lastIn).value_or(LastNumbers{});
  }

  std::vector<FactRow> facts(ConnectionFact::Time from, const FactPosition& before, std::int64_t limit) {
    const std::lock_guard lock(shared_.mutex);
    return facts_.facts(from, before, limit);
  }

  ArrivalCounts arrivals(ConnectionFact::Time from, ConnectionFact::Time to) {
    const std::lock_guard lock(shared_.mutex);
    return facts_.arrivals(from, to);
  }

 private:
  template <typename Row>
  std::optional<Row> first(sqlite::Statement& statement, std::int64_t id, Row (*read)(const sqlite::Statement&)) {
    const std::lock_guard lock(shared_.mutex);
    return firstRow(statement.bind(id), read);
  }

  sqlite::Statement statement(const std::string& text) { return {shared_.connection, text}; }

  Shared& shared_;
  sqlite::Statement requestsSince_ = statement(std::string(kRequestColumns) + "WHERE id > ? ORDER BY id LIMIT ?");
  sqlite::Statement recordsSince_ = statement(std::string(kRecordColumns) + "WHERE id > ? ORDER BY id LIMIT ?");
  sqlite::Statement oneRequest_ = statement(std::string(kRequestColumns) + "WHERE id = ?");
  sqlite::Statement oneRecord_ = statement(std::string(kRecordColumns) + "WHERE id = ?");
  sqlite::Statement headers_ = statement("SELECT headers FROM requests WHERE id = ?");
  sqlite::Statement body_ = statement("SELECT body FROM requests WHERE id = ?");
  sqlite::Statement lastRecord_ = statement("SELECT lastRecord FROM requests WHERE id <= ? ORDER BY id DESC LIMIT 1");
  sqlite::Statement last_ = statement("SELECT request, record FROM last");
  SqliteFacts facts_{shared_.connection};
};

/// The statements that store what arrives on one day.
struct DayWriter {
  DayWriter(sqlite::Connection& connection, const std::string& name)
      : day(name),
        addRequest(connection,
                   "INSERT INTO requests_" + day +
                       " (id, time, method, path, query, contentType, bytes, answered, records, duplicates, "
                       "lastRecord, problem, headers, body) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)"),
        addRecord(connection, "INSERT INTO records_" + day +
                                  R"( (id, request, time, path, type, subType, event, problem, "values", raw, key) )"
                                  "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)") {}

  void add(const Arrival& arrival, std::int64_t lastRecord) {
    const RequestRow& request = arrival.request;
    for (const ArrivedRecord& record : arrival.records) {
      if (record.id == 0) continue;
      addRecord
          .bind(record.id, request.id, request.time, request.path, record.type, record.subType, record.event,
                record.problem, record.values, record.raw, sqlite::Blob{bytesOf(record.key)})
          .run();
    }
    addRequest
        .bind(request.id, request.time, request.method, request.path, request.query, request.contentType, request.bytes,
              request.answered, request.records, request.duplicates, lastRecord, request.problem, arrival.headers,
              sqlite::Blob{arrival.body})
        .run();
  }

  std::string day;
  sqlite::Statement addRequest;
  sqlite::Statement addRecord;
};

class SqliteStorage : public Storage {
 public:
  SqliteStorage(const StorageOptions& options, const FieldMapping& mapping)
      : options_(options), writing_(schema::open(options.database, options.syncs, mapping)) {
    // Readers of a file do not wait for the writer. A temporary database has one connection.
    if (!options.database.empty()) reading_.emplace(sqlite::Connection(options.database));
    reader_.emplace(reading_ ? *reading_ : writing_);
  }

  using Storage::add;
  void add(std::span<Arrival* const> arrivals, const std::optional<Progress>& progress) override {
    const std::lock_guard lock(writing_.mutex);
    sqlite::Connection& connection = writing_.connection;
    sqlite::Transaction transaction(connection);
    const std::string day = schema::dayFor(connection, arrivals.front()->request.time);
    if (!today_ || today_->day != day) today_.emplace(connection, day);
    LastNumbers last = firstRow(last_, lastIn).value_or(LastNumbers{});
    for (Arrival* arrival : arrivals) {
      arrival->number(last, [this](const ArrivedRecord& record) {
        addKey_.bind(sqlite::Blob{bytesOf(record.key)}).run();
        return writing_.connection.hasChanged();
      });
      today_->add(*arrival, last.record);
      for (const ArrivedRecord& record : arrival->records) {
        if (record.id != 0) facts_.add(record);
      }
      facts_.count(arrival->request);
    }
    setLast_.bind(last.request, last.record).run();
    if (progress) setProgress_.bind(progress->source, progress->request).run();
    if (options_.mostRequests > 0) schema::dropUpTo(connection, last.request - options_.mostRequests);
    transaction.commit();
  }

  std::vector<RequestRow> requests(std::int64_t since, std::int64_t limit) override {
    return reader_->requests(since, limit);
  }
  std::vector<RecordRow> records(std::int64_t since, std::int64_t limit) override {
    return reader_->records(since, limit);
  }
  std::optional<RequestRow> request(std::int64_t id) override { return reader_->request(id); }
  std::optional<RecordRow> record(std::int64_t id) override { return reader_->record(id); }
  std::string headers(std::int64_t request) override { return reader_->headers(request).value_or(""); }
  std::string body(std::int64_t request) override { return reader_->body(request).value_or(""); }
  std::int64_t lastRecordUpTo(std::int64_t request) override { return reader_->lastRecordUpTo(request).value_or(0); }
  LastNumbers last() override { return reader_->last(); }
  std::vector<FactRow> facts(ConnectionFact::Time from, const FactPosition& before, std::int64_t limit) override {
    return reader_->facts(from, before, limit);
  }
  ArrivalCounts arrivals(ConnectionFact::Time from, ConnectionFact::Time to) override {
    return reader_->arrivals(from, to);
  }

  std::int64_t progressOf(const std::string& source) override {
    const std::lock_guard lock(writing_.mutex);
    return firstRow(progress_.bind(source), firstNumber).value_or(0);
  }

  bool tidy() override {
    if (options_.mostDays == 0) return false;
    const std::lock_guard lock(writing_.mutex);
    sqlite::Transaction transaction(writing_.connection);
    const auto days = schema::days(writing_.connection);
    const bool isMore =
        days.front() < firstOfDays(options_.mostDays) && schema::dropDay(writing_.connection, days.front());
    transaction.commit();
    return isMore;
  }

 private:
  const StorageOptions options_;
  Shared writing_;
  SqliteFacts facts_{writing_.connection};
  std::optional<Shared> reading_;
  std::optional<Reader> reader_;
  std::optional<DayWriter> today_;
  sqlite::Statement last_{writing_.connection, "SELECT request, record FROM last"};
  sqlite::Statement setLast_{writing_.connection, "UPDATE last SET request = ?, record = ?"};
  sqlite::Statement progress_{writing_.connection, "SELECT request FROM progress WHERE source = ?"};
  sqlite::Statement setProgress_{writing_.connection, "INSERT OR REPLACE INTO progress VALUES (?, ?)"};
  sqlite::Statement addKey_{writing_.connection, "INSERT INTO keys VALUES (?) ON CONFLICT DO NOTHING"};
};

}  // namespace

std::unique_ptr<Storage> openSqlite(const StorageOptions& options, const FieldMapping& fields) {
  try {
    return std::make_unique<SqliteStorage>(options, fields);
  } catch (const sqlite::Error& error) {
    throw CannotOpen("the database '" + options.database + "' cannot be read: " + error.what());
  }
}

}  // namespace collector
