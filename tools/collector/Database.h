#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace collector {

/// A request, without its headers and body.
struct RequestRow {
  std::int64_t id = 0;
  std::string time;  ///< UTC, ISO 8601
  std::string method;
  std::string path;         ///< as the client wrote it, without a query
  std::string query;        ///< the part after the question mark
  std::string contentType;  ///< empty: none
  std::int64_t bytes = 0;
  std::string answered;
  std::int64_t records = 0;
  std::optional<std::string> problem{};
};

/// A record.
struct RecordRow {
  std::int64_t id = 0;
  std::int64_t request = 0;
  std::string time;
  std::string path;
  std::string type;
  std::optional<std::string> subType;
  std::optional<std::string> event;
  std::string values;  ///< a JSON array of [name, value]
  std::string raw;
  std::optional<std::string> problem;
};

/// Why a database cannot be opened; the text is for the user.
class CannotOpen : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The requests that arrived and their records, in an SQLite file, or in a temporary one that is deleted with this
/// object. A request and its records are stored in one transaction. Once `add` has returned, they survive the end of
/// the process, a crash included.
///
/// Failure: sqlite::Error.
/// Threading: any thread. Calls are serialised.
class Database {
 public:
  /// An empty name means a temporary database. When there are more than `mostRequests`, the oldest are deleted; 0 keeps
  /// all. Throws CannotOpen, also for a file of another program, which it does not change.
  Database(const std::string& file, std::int64_t mostRequests);
  ~Database();

  /// Stores a request and its records. `headers` is a JSON array of [name, value]. Returns the request with its id,
  /// length, number of records and problem.
  RequestRow add(RequestRow request, std::string_view headers, std::string_view body);

  /// The next rows after `since`, oldest first: at most `limit`, and fewer when they are large. Empty only when there
  /// are no more.
  std::vector<RequestRow> requests(std::int64_t since, std::int64_t limit);
  std::vector<RecordRow> records(std::int64_t since, std::int64_t limit);

  std::optional<RequestRow> request(std::int64_t id);
  std::optional<RecordRow> record(std::int64_t id);
  std::string headers(std::int64_t request);  ///< empty when there is no such request
  std::string body(std::int64_t request);     ///< empty when there is no such request

  /// The number of the last record of the requests up to this one; 0 when they have none.
  std::int64_t lastRecordUpTo(std::int64_t request);

  /// The numbers of the last request and the last record that were ever kept.
  std::pair<std::int64_t, std::int64_t> last();

 private:
  struct Tables;
  std::mutex mutex_;
  std::int64_t mostRequests_;
  std::unique_ptr<Tables> tables_;
};

}  // namespace collector
