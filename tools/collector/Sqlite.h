#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace collector::sqlite {

/// What SQLite says has failed.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A database that is open. Every failure throws Error.
class Connection {
 public:
  /// Opens the file, which is made when it is missing; the empty name stands for a temporary database.
  explicit Connection(const std::string& file);

  /// Runs statements that give nothing and take nothing.
  void run(const char* statements);

  sqlite3* get() const { return database_.get(); }

 private:
  struct Close {
    void operator()(sqlite3* database) const;
  };
  std::unique_ptr<sqlite3, Close> database_;
};

/// A prepared statement. What is bound is not copied: it must stay until the statement has been run, or reset.
class Statement {
 public:
  Statement(Connection& connection, std::string_view text);

  Statement& bind(int parameter, std::int64_t value);
  Statement& bind(int parameter, std::string_view text);
  Statement& bindIfAny(int parameter, const std::optional<std::string>& text);
  Statement& bindBlob(int parameter, std::string_view bytes);

  /// Goes to the next row; false, and the statement is reset, when there is none.
  bool next();

  /// Runs a statement that gives no rows.
  void run();

  /// Makes it ready for its next run, whatever became of this one.
  void reset();

  std::int64_t number(int column) const;
  std::string text(int column) const;  ///< or bytes
  std::optional<std::string> textIfAny(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const;
  };
  void check(int result) const;

  sqlite3* database_;
  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

/// Takes a statement that gives rows through them, and resets it at the end, also when the reader stops early.
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

/// A transaction that is undone unless it is committed.
class Transaction {
 public:
  explicit Transaction(Connection& connection);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  ~Transaction();

  void commit();

 private:
  Connection& connection_;
  bool isOpen_ = true;
};

}  // namespace collector::sqlite
