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
#include "tools/collector/storage/Spans.h"
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

/// Reads requests and records.
class Reader {
 public:
  explicit Reader(Shared& shared) : shared_(shared) {}

  std::vector<RequestRow> requests(std::int64_t since, std::int64_t limit) {
    return rowsSince(spanOfRequest_, kRequestColumns, requestIn<sqlite::Statement>, since, limit);
  }

  std::vector<RecordRow> records(std::int64_t since, std::int64_t limit) {
    return rowsSince(spanOfRecord_, kRecordColumns, recordIn<sqlite::Statement>, since, limit);
  }

  std::optional<RequestRow> request(std::int64_t id) {
    return first(spanOfRequest_, kRequestColumns, " WHERE id = ?", id, requestIn<sqlite::Statement>);
  }
  std::optional<RecordRow> record(std::int64_t id) {
    return first(spanOfRecord_, kRecordColumns, " WHERE id = ?", id, recordIn<sqlite::Statement>);
  }
  std::optional<std::string> headers(std::int64_t request) {
    return first(spanOfRequest_, "SELECT headers FROM requests", " WHERE id = ?", request, firstText);
  }
  std::optional<std::string> body(std::int64_t request) {
    return first(spanOfRequest_, "SELECT body FROM requests", " WHERE id = ?", request, firstText);
  }
  std::optional<std::int64_t> lastRecordUpTo(std::int64_t request) {
    return first(spanOfRequest_, "SELECT lastRecord FROM requests", " WHERE id <= ? ORDER BY id DESC LIMIT 1", request,
                 firstNumber);
  }

  LastNumbers last() {
    const std::lock_guard lock(shared_.mutex);
    return firstRow(last_, lastIn).value_or(LastNumbers{});
  }

 private:
  template <typename Row>
  using Read = Row (*)(const sqlite::Statement&);

  template <typename Row>
  std::optional<Row> first(sqlite::Statement& spanOf, const char* columns, const char* where, std::int64_t id,
                           Read<Row> read) {
    const std::lock_guard lock(shared_.mutex);
    const sqlite::Transaction snapshot(shared_.connection, sqlite::Transaction::Mode::reads);
    sqlite::Statement statement(shared_.connection, columns + tableOf(spanAt(spanOf, id)) + where);
    return firstRow(statement.bind(id), read);
  }

  template <typename Row>
  std::vector<Row> rowsSince(sqlite::Statement& spanOf, const char* columns, Read<Row> read, std::int64_t since,
                             std::int64_t limit) {
    const std::lock_guard lock(shared_.mutex);
    const sqlite::Transaction snapshot(shared_.connection, sqlite::Transaction::Mode::reads);
    const auto rowsOf = [&](const Span& span, std::int64_t after) {
      sqlite::Statement statement(shared_.connection,
                                  columns + tableOf(span) + " WHERE id > ? AND id < ? ORDER BY id LIMIT ?");
      sqlite::Rows rows(statement.bind(after, span.end, limit));
      std::vector<Row> found;
      for (std::size_t bytes = 0; bytes < kBytesAtATime && rows.next(); bytes += lengthOf(found.back())) {
        found.push_back(read(statement));
      }
      return found;
    };
    return nextRows(
        since, [&](std::int64_t id) { return spanAt(spanOf, id); }, rowsOf);
  }

  static Span spanAt(sqlite::Statement& spanOf, std::int64_t id) {
    return firstRow(spanOf.bind(id), spanIn<sqlite::Statement>).value_or(Span{});
  }

  /// What the name of a table ends with.
  static std::string tableOf(const Span& span) { return span.day.empty() ? "" : "_" + span.day; }

  static std::size_t lengthOf(const RequestRow&) { return 0; }
  static std::size_t lengthOf(const RecordRow& row) { return row.raw.size(); }

  Shared& shared_;
  sqlite::Statement spanOfRequest_{shared_.connection, kSpanOfRequest};
  sqlite::Statement spanOfRecord_{shared_.connection, kSpanOfRecord};
  sqlite::Statement last_{shared_.connection, "SELECT request, record FROM last"};
};

/// Reads what reports are made of.
class FactReader {
 public:
  explicit FactReader(Shared& shared) : shared_(shared) {}

  std::vector<FactRow> facts(const FactFilter& filter, const FactPosition& before, std::int64_t limit) {
    const std::lock_guard lock(shared_.mutex);
    return facts_.facts(filter, before, limit);
  }

  std::int64_t countFacts(ConnectionFact::Time from, ConnectionFact::Time before, std::int64_t oneIn,
                          std::int64_t most) {
    const std::lock_guard lock(shared_.mutex);
    return facts_.countFacts(from, before, oneIn, most);
  }

  ArrivalCounts arrivals(ConnectionFact::Time from, ConnectionFact::Time to) {
    const std::lock_guard lock(shared_.mutex);
    return facts_.arrivals(from, to);
  }

 private:
  Shared& shared_;
  SqliteFacts facts_{shared_.connection};
};

/// The statements that store what arrives on one day.
struct DayWriter {
  DayWriter(sqlite::Connection& connection, std::string name)
      : day(std::move(name)),
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
    // Readers of a file wait neither for the writer nor for reports. A temporary database has one connection.
    const auto opened = [&](std::optional<Shared>& own) -> Shared& {
      return options.database.empty() ? writing_ : own.emplace(sqlite::Connection(options.database));
    };
    reader_.emplace(opened(reading_));
    factReader_.emplace(opened(reporting_));
  }

  using Storage::add;
  void add(std::span<Arrival* const> arrivals, const std::optional<Progress>& progress) override {
    const std::lock_guard lock(writing_.mutex);
    sqlite::Connection& connection = writing_.connection;
    sqlite::Transaction transaction(connection);
    const std::string day = schema::dayFor(connection, arrivals.front()->request.time);
    if (!today_ || today_->day != day) today_.emplace(connection, day);
    LastNumbers last = firstRow(last_, lastIn).value_or(LastNumbers{});
    if (firstRow(lastDay_, firstText) != day) addSpan_.bind(last.request + 1, last.record + 1, day).run();
    for (Arrival* arrival : arrivals) {
      if (isStored(*arrival)) continue;
      arrival->number(last, [this](const ArrivedRecord& record) {
        addKey_.bind(sqlite::Blob{bytesOf(record.key)}).run();
        return writing_.connection.hasChanged();
      });
      today_->add(*arrival, last.record);
      for (const ArrivedRecord& record : arrival->records) {
        if (record.id != 0) facts_.add(record, day);
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
  std::vector<FactRow> facts(const FactFilter& filter, const FactPosition& before, std::int64_t limit) override {
    return factReader_->facts(filter, before, limit);
  }
  std::int64_t countFacts(ConnectionFact::Time from, ConnectionFact::Time before, std::int64_t oneIn,
                          std::int64_t most) override {
    return factReader_->countFacts(from, before, oneIn, most);
  }
  ArrivalCounts arrivals(ConnectionFact::Time from, ConnectionFact::Time to) override {
    return factReader_->arrivals(from, to);
  }

  std::int64_t progressOf(const std::string& source) override {
    const std::lock_guard lock(writing_.mutex);
    return firstRow(progress_.bind(source), firstNumber).value_or(0);
  }

  bool tidy() override {
    if (options_.mostDays == 0) return false;
    const std::lock_guard lock(writing_.mutex);
    sqlite::Transaction transaction(writing_.connection);
    const std::string kept = firstOfDays(options_.mostDays);
    const std::string day = schema::days(writing_.connection).front();
    const bool isMore = (day < kept && schema::dropDay(writing_.connection, day)) || facts_.dropBefore(kept);
    transaction.commit();
    return isMore;
  }

 private:
  /// True when an attempt to store it succeeded that was taken for a failure.
  bool isStored(const Arrival& arrival) {
    return arrival.isNumbered() &&
           firstRow(stored_.bind(arrival.request.id, arrival.request.time, arrival.headers, sqlite::Blob{arrival.body}),
                    firstNumber);
  }

  const StorageOptions options_;
  Shared writing_;
  SqliteFacts facts_{writing_.connection};
  std::optional<Shared> reading_;
  std::optional<Shared> reporting_;
  std::optional<Reader> reader_;
  std::optional<FactReader> factReader_;
  std::optional<DayWriter> today_;
  sqlite::Statement last_{writing_.connection, "SELECT request, record FROM last"};
  sqlite::Statement setLast_{writing_.connection, "UPDATE last SET request = ?, record = ?"};
  sqlite::Statement lastDay_{writing_.connection, kLastDay};
  sqlite::Statement addSpan_{writing_.connection, "INSERT OR REPLACE INTO spans VALUES (?, ?, ?)"};
  sqlite::Statement stored_{writing_.connection,
                            "SELECT id FROM requests WHERE id = ? AND time = ? AND headers = ? AND body = ?"};
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
