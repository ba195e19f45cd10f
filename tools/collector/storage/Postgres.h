#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

struct pg_conn;
struct pg_result;

namespace collector::postgres {

/// A failure that PostgreSQL or the network reports.
class Error : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The type of a parameter, by its number in PostgreSQL's catalogue. An array's is that of its elements.
enum class Type : std::uint32_t { bytes = 17, number = 20, text = 25 };

/// Values in PostgreSQL's binary format, each after its length.
class Values {
 public:
  void add(std::int64_t number);
  void add(std::string_view text);
  void addNull();

  template <typename Value>
  void addIfAny(const std::optional<Value>& value) {
    value ? add(*value) : addNull();
  }

  std::int32_t count() const { return count_; }

 protected:
  std::string& bytes() { return bytes_; }
  const std::string& bytes() const { return bytes_; }

 private:
  std::int32_t count_ = 0;
  std::string bytes_;
};

/// The values of a column, as one parameter: an array.
class Column : public Values {
 public:
  explicit Column(Type type) : type_(type) {}

  Type type() const { return type_; }
  std::string array() const;

 private:
  Type type_;
};

/// Rows for a table, with the values of all its columns in their order: the binary format of COPY.
class CopiedRows : public Values {
 public:
  CopiedRows();

  /// Begins a row.
  void row(std::int16_t columns);

  /// All of them. Call it once.
  std::string_view whole();
};

/// A statement and its parameters.
class Statement {
 public:
  explicit Statement(std::string text) : text_(std::move(text)) {}

  Statement& bind(std::int64_t number);
  Statement& bind(std::string_view text);
  Statement& bind(const Column& column);

 private:
  friend class Connection;
  std::string text_;
  std::vector<std::uint32_t> types_;
  std::vector<std::string> values_;  // in binary format
};

/// The rows that a statement returned.
class Rows {
 public:
  explicit Rows(pg_result* result) : result_(result) {}

  bool isCopying() const;  ///< the server waits for the rows of a copy
  int size() const;
  bool isNull(int row, int column) const;
  std::int64_t number(int row, int column) const;
  std::string text(int row, int column) const;  ///< or bytes
  std::optional<std::int64_t> numberIfAny(int row, int column) const;
  std::optional<std::string> textIfAny(int row, int column) const;

 private:
  struct Clear {
    void operator()(pg_result* result) const;
  };
  std::unique_ptr<pg_result, Clear> result_;
};

/// A connection to a server. After an Error it must not be used.
class Connection {
 public:
  /// `address` is a URI or a list of key=value, as libpq reads them; several hosts may be named.
  explicit Connection(const std::string& address);

  /// A server that does not answer for so long is taken for lost. The statement is not cancelled: a commit that is
  /// cancelled while it waits for its standby counts as done.
  static constexpr std::chrono::seconds kLongestAnswer{20};

  /// Runs statements without parameters and results. They may take `longest`.
  void run(const std::string& statements, std::chrono::seconds longest = kLongestAnswer);

  /// Sends all statements at once and returns the rows of each. The first failure is thrown, and so is a warning: that
  /// of a commit whose standby did not confirm it.
  std::vector<Rows> run(const std::vector<Statement>& statements);

  /// Adds rows to a table, within a transaction.
  void copy(const std::string& table, CopiedRows rows);

 private:
  struct Finish {
    void operator()(pg_conn* connection) const;
  };
  static void notice(void* self, const pg_result* result);
  pg_result* nextResult();
  void endResults(std::string problem);
  void flush();
  void wait(short events);
  void check(bool isDone) const;

  std::unique_ptr<pg_conn, Finish> connection_;
  std::chrono::steady_clock::time_point until_;
  std::string warning_;
};

}  // namespace collector::postgres
