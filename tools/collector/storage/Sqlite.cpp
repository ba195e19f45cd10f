#include "tools/collector/storage/Sqlite.h"

#include <sqlite3.h>

namespace collector::sqlite {

namespace {

constexpr int kPatience = 5000;  // milliseconds, while another program holds the database

}  // namespace

void Connection::Close::operator()(sqlite3* database) const { sqlite3_close_v2(database); }

Connection::Connection(const std::string& file) {
  sqlite3* opened = nullptr;
  const int result =
      sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(opened);  // after most failures, too, there is a database to close
  if (result != SQLITE_OK) throw Error(opened ? sqlite3_errmsg(opened) : sqlite3_errstr(result));
  sqlite3_extended_result_codes(opened, 1);
  sqlite3_busy_timeout(opened, kPatience);
}

void Connection::run(const char* statements) {
  if (sqlite3_exec(database_.get(), statements, nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw Error(sqlite3_errmsg(database_.get()));
  }
}

bool Connection::hasChanged() const { return sqlite3_changes64(database_.get()) > 0; }

void Statement::Finalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

Statement::Statement(Connection& connection, std::string_view text) : database_(connection.get()) {
  sqlite3_stmt* prepared = nullptr;
  check(sqlite3_prepare_v3(database_, text.data(), static_cast<int>(text.size()), SQLITE_PREPARE_PERSISTENT, &prepared,
                           nullptr));
  statement_.reset(prepared);
}

void Statement::bindOne(int parameter, std::int64_t value) {
  check(sqlite3_bind_int64(statement_.get(), parameter, value));
}

void Statement::bindOne(int parameter, std::string_view text) {
  const char* data = text.data() ? text.data() : "";  // a null pointer would stand for NULL
  check(sqlite3_bind_text64(statement_.get(), parameter, data, text.size(), SQLITE_STATIC, SQLITE_UTF8));
}

void Statement::bindOne(int parameter, Blob blob) {
  const char* data = blob.bytes.data() ? blob.bytes.data() : "";
  check(sqlite3_bind_blob64(statement_.get(), parameter, data, blob.bytes.size(), SQLITE_STATIC));
}

bool Statement::next() {
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW) return true;
  if (result == SQLITE_DONE) {
    reset();
    return false;
  }
  const std::string problem = sqlite3_errmsg(database_);
  reset();
  throw Error(problem);
}

void Statement::run() {
  while (next()) {
  }
}

void Statement::reset() {
  sqlite3_reset(statement_.get());
  sqlite3_clear_bindings(statement_.get());
}

std::int64_t Statement::number(int column) const { return sqlite3_column_int64(statement_.get(), column); }

std::optional<std::int64_t> Statement::numberIfAny(int column) const {
  if (sqlite3_column_type(statement_.get(), column) == SQLITE_NULL) return std::nullopt;
  return number(column);
}

std::string Statement::text(int column) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_.get(), column));
  if (!bytes) return {};
  return {bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

std::optional<std::string> Statement::textIfAny(int column) const {
  if (sqlite3_column_type(statement_.get(), column) == SQLITE_NULL) return std::nullopt;
  return text(column);
}

void Statement::check(int result) const {
  if (result != SQLITE_OK) throw Error(sqlite3_errmsg(database_));
}

// IMMEDIATE takes the write lock at the start, so that what the transaction reads stays valid until it writes.
Transaction::Transaction(Connection& connection, Mode mode) : connection_(connection) {
  connection_.run(mode == Mode::writes ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
  if (isOpen_) sqlite3_exec(connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
  connection_.run("COMMIT");
  isOpen_ = false;
}

}  // namespace collector::sqlite
