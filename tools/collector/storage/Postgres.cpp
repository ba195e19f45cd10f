#include "tools/collector/storage/Postgres.h"

#include <algorithm>
#include <array>
#include <bit>
#include <libpq-fe.h>
#include <poll.h>

namespace collector::postgres {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kConnecting = "5";  // seconds, for each host

// A backend that waits for a lock ends soon after its client gave up. Without this it would wait on, and each attempt
// of a client would add one. A commit that waits for its standby is not ended by it.
constexpr const char* kOptions = "-c client_connection_check_interval=2s";

constexpr std::size_t kPiece = std::size_t{1} << 20;  // bytes of a copy that are sent at a time

/// The bytes of a number, the most significant first.
template <typename Number>
std::string networkBytes(Number number) {
  std::string bytes(sizeof number, '\0');
  for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte, number = static_cast<Number>(number >> 8)) {
    *byte = static_cast<char>(number & 0xFF);
  }
  return bytes;
}

std::uint32_t arrayTypeOf(Type element) {
  switch (element) {
    case Type::bytes:
      return 1001;
    case Type::number:
      return 1016;
    case Type::text:
      return 1009;
  }
  return 0;
}

/// A message of several lines as one.
std::string oneLine(std::string text) {
  while (text.ends_with('\n')) text.pop_back();
  std::ranges::replace(text, '\n', ' ');
  return text;
}

}  // namespace

void Values::add(std::int64_t number) {
  const std::string bytes = networkBytes(number);
  add(std::string_view(bytes));
}

void Values::add(std::string_view text) {
  bytes_ += networkBytes(static_cast<std::int32_t>(text.size()));
  bytes_ += text;
  ++count_;
}

void Values::addNull() {
  bytes_ += networkBytes(std::int32_t{-1});
  ++count_;
}

/// The number of dimensions, whether there are nulls, the type, the size and the first index; then each element's
/// length and bytes (array_send in PostgreSQL's arrayfuncs.c).
std::string Column::array() const {
  if (count() == 0) {
    return networkBytes(std::int32_t{0}) + networkBytes(std::int32_t{0}) +
           networkBytes(static_cast<std::uint32_t>(type_));
  }
  return networkBytes(std::int32_t{1}) + networkBytes(std::int32_t{1}) +
         networkBytes(static_cast<std::uint32_t>(type_)) + networkBytes(count()) + networkBytes(std::int32_t{1}) +
         bytes();
}

/// The signature, no flags, no extension of the header (PostgreSQL's documentation of COPY, "Binary Format").
CopiedRows::CopiedRows() { bytes().assign("PGCOPY\n\xFF\r\n\0\0\0\0\0\0\0\0\0", 19); }

void CopiedRows::row(std::int16_t columns) { bytes() += networkBytes(columns); }

std::string_view CopiedRows::whole() { return bytes() += networkBytes(std::int16_t{-1}); }

Statement& Statement::bind(std::int64_t number) {
  types_.push_back(static_cast<std::uint32_t>(Type::number));
  values_.push_back(networkBytes(number));
  return *this;
}

Statement& Statement::bind(std::string_view text) {
  types_.push_back(static_cast<std::uint32_t>(Type::text));
  values_.emplace_back(text);
  return *this;
}

Statement& Statement::bind(const Column& column) {
  types_.push_back(arrayTypeOf(column.type()));
  values_.push_back(column.array());
  return *this;
}

void Rows::Clear::operator()(pg_result* result) const { PQclear(result); }

bool Rows::isCopying() const { return PQresultStatus(result_.get()) == PGRES_COPY_IN; }

int Rows::size() const { return PQntuples(result_.get()); }

bool Rows::isNull(int row, int column) const { return PQgetisnull(result_.get(), row, column) != 0; }

std::int64_t Rows::number(int row, int column) const {
  std::uint64_t number = 0;
  for (const char byte : text(row, column)) number = number << 8 | static_cast<unsigned char>(byte);
  return static_cast<std::int64_t>(number);
}

std::string Rows::text(int row, int column) const {
  return {PQgetvalue(result_.get(), row, column), static_cast<std::size_t>(PQgetlength(result_.get(), row, column))};
}

std::optional<std::int64_t> Rows::numberIfAny(int row, int column) const {
  return isNull(row, column) ? std::nullopt : std::optional(number(row, column));
}

std::optional<std::string> Rows::textIfAny(int row, int column) const {
  return isNull(row, column) ? std::nullopt : std::optional(text(row, column));
}

void Connection::Finish::operator()(pg_conn* connection) const { PQfinish(connection); }

Connection::Connection(const std::string& address) {
  // What the address says counts more than what stands before it.
  const std::array<const char*, 5> names = {"connect_timeout", "application_name", "options", "dbname", nullptr};
  const std::array<const char*, 5> values = {kConnecting, "sqm-collector", kOptions, address.c_str(), nullptr};
  connection_.reset(PQconnectdbParams(names.data(), values.data(), /*expand_dbname=*/1));
  if (!connection_ || PQstatus(connection_.get()) != CONNECTION_OK)
    throw Error(oneLine(PQerrorMessage(connection_.get())));
  PQsetNoticeReceiver(connection_.get(), &Connection::notice, this);
  PQsetnonblocking(connection_.get(), 1);
}

void Connection::run(const std::string& statements, std::chrono::seconds longest) {
  until_ = Clock::now() + longest;
  check(PQsendQuery(connection_.get(), statements.c_str()) == 1);
  endResults({});
}

void Connection::copy(const std::string& table, CopiedRows rows) {
  until_ = Clock::now() + kLongestAnswer;
  check(PQsendQuery(connection_.get(), ("COPY " + table + " FROM STDIN (FORMAT binary)").c_str()) == 1);
  const Rows begun(nextResult());
  if (!begun.isCopying()) return endResults(PQerrorMessage(connection_.get()));
  std::string_view unsent = rows.whole();
  while (!unsent.empty()) {
    const std::string_view piece = unsent.substr(0, kPiece);
    check(PQputCopyData(connection_.get(), piece.data(), static_cast<int>(piece.size())) == 1);
    flush();
    unsent.remove_prefix(piece.size());
  }
  check(PQputCopyEnd(connection_.get(), nullptr) == 1);
  endResults({});
}

/// Reads the results up to the last. Throws `problem`, or else the first failure.
void Connection::endResults(std::string problem) {
  while (pg_result* result = nextResult()) {
    const Rows rows(result);
    if (PQresultStatus(result) == PGRES_FATAL_ERROR && problem.empty()) problem = PQresultErrorMessage(result);
  }
  if (!problem.empty()) throw Error(oneLine(problem));
}

std::vector<Rows> Connection::run(const std::vector<Statement>& statements) {
  until_ = Clock::now() + kLongestAnswer;
  warning_.clear();
  check(PQenterPipelineMode(connection_.get()) == 1);
  for (const Statement& statement : statements) {
    std::vector<const char*> values;
    std::vector<int> lengths;
    for (const std::string& value : statement.values_) {
      values.push_back(value.data());
      lengths.push_back(static_cast<int>(value.size()));
    }
    const std::vector<int> formats(values.size(), 1);
    check(PQsendQueryParams(connection_.get(), statement.text_.c_str(), static_cast<int>(values.size()),
                            statement.types_.data(), values.data(), lengths.data(), formats.data(),
                            /*resultFormat=*/1) == 1);
  }
  check(PQpipelineSync(connection_.get()) == 1);
  std::vector<Rows> results;
  std::string problem;
  for (std::size_t ended = 0; ended < statements.size();) {
    pg_result* result = nextResult();
    if (!result) {
      ++ended;
      continue;
    }
    results.emplace_back(result);
    const auto status = PQresultStatus(result);
    if (status != PGRES_TUPLES_OK && status != PGRES_COMMAND_OK && problem.empty()) {
      problem = PQresultErrorMessage(result);
    }
  }
  results.emplace_back(nextResult());  // the answer to the synchronisation
  results.pop_back();
  check(PQexitPipelineMode(connection_.get()) == 1);
  if (problem.empty()) problem = warning_;
  if (!problem.empty()) throw Error(oneLine(problem));
  return results;
}

void Connection::notice(void* self, const pg_result* result) {
  const char* severity = PQresultErrorField(result, PG_DIAG_SEVERITY_NONLOCALIZED);
  if (severity && std::string_view(severity) == "WARNING") {
    static_cast<Connection*>(self)->warning_ = PQresultErrorMessage(result);
  }
}

/// Waits for the next result. Null between the results of two statements, and at the end.
pg_result* Connection::nextResult() {
  for (;;) {
    const int unsent = PQflush(connection_.get());
    check(unsent >= 0);
    if (PQisBusy(connection_.get()) == 0) break;
    wait(unsent == 1 ? POLLIN | POLLOUT : POLLIN);
    check(PQconsumeInput(connection_.get()) == 1);
  }
  return PQgetResult(connection_.get());
}

/// Waits until all is sent.
void Connection::flush() {
  for (;;) {
    const int unsent = PQflush(connection_.get());
    check(unsent >= 0);
    if (unsent == 0) return;
    wait(POLLIN | POLLOUT);
    check(PQconsumeInput(connection_.get()) == 1);
  }
}

void Connection::wait(short events) {
  pollfd descriptor = {.fd = PQsocket(connection_.get()), .events = events, .revents = 0};
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(until_ - Clock::now()).count();
  if (left <= 0 || poll(&descriptor, 1, static_cast<int>(left)) == 0) throw Error("the database does not answer");
}

void Connection::check(bool isDone) const {
  if (!isDone) throw Error(oneLine(PQerrorMessage(connection_.get())));
}

}  // namespace collector::postgres
