#pragma once

#include <concepts>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace collector::sqlite {

/// A failure that SQLite reports.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// An open database. Every failure throws Error.
class Connection {
 public:
  /// Opens the file, and creates it when it is missing. An empty name opens a temporary database.
  explicit Connection(const std::string& file);

  /// Runs statements without parameters and results.
  void run(const char* statements);

  /// True when the last statement changed rows.
  bool hasChanged() const;

  sqlite3* get() const { return database_.get(); }

 private:
  struct Close {
    void operator()(sqlite3* database) const;
  };
  std::unique_ptr<sqlite3, Close> database_;
};

/// Bytes that are stored as a blob.
struct Blob {
  std::string_view bytes;
};

/// A prepared statement. Bound values are not copied: they must stay valid until the statement has been run or reset.
class Statement {
 public:
  Statement(Connection& connection, std::string_view text);

  /// Binds its parameters, in their order: numbers, texts, blobs, and optional numbers and texts.
  template <typename... Values>
  Statement& bind(const Values&... values) {
    int parameter = 0;
    (bindOne(++parameter, values), ...);
    return *this;
  }

  /// Moves to the next row. Returns false, and resets the statement, when there is none.
  bool next();

  /// Runs a statement without rows.
  void run();

  /// Prepares it for its next run, whether or not this one ended.
  void reset();

  std::int64_t number(int column) const;
  std::optional<std::int64_t> numberIfAny(int column) const;
  std::string text(int column) const;  ///< or bytes
  std::optional<std::string> textIfAny(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  void bindOne(int parameter, std::int64_t value);
  void bindOne(int parameter, std::string_view text);
  void bindOne(int parameter, const std::same_as<std::optional<std::string>> auto& text) {
    if (text) bindOne(parameter, std::string_view(*text));  // a parameter that is not bound is NULL
  }
  void bindOne(int parameter, const std::same_as<std::optional<std::int64_t>> auto& number) {
    if (number) bindOne(parameter, *number);
  }
  void bindOne(int parameter, Blob blob);
  void check(int result) const;

  sqlite3* database_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

/// Iterates over the rows of a statement and resets it at the end, also when the reader stops early.
class Rows {
 public:
  explicit Rows(Statement& statement) : statement_(statement) {}
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;
  ~Rows() { statement_.reset(); }

  bool next() { return statement_.next(); }

 private:
  Statement& statement_;
};

/// A transaction, rolled back unless it is committed. One that only reads takes no lock, and sees one state of the
/// database.
class Transaction {
 public:
  enum class Mode : std::uint8_t { writes, reads };
  explicit Transaction(Connection& connection, Mode mode = Mode::writes);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  void commit();

 private:
  Connection& connection_;
  bool isOpen_ = true;
};

}  // namespace collector::sqlite
