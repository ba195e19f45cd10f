#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include "tools/collector/service/ConnectionFact.h"
#include "tools/collector/service/FieldMapping.h"
#include "tools/collector/storage/RecordKey.h"
#include "tools/collector/storage/Rows.h"

namespace collector {

/// A record that has arrived.
struct ArrivedRecord {
  std::string_view type;
  std::optional<std::string> subType;
  std::optional<std::string> event;
  std::optional<std::string> problem;
  std::string values;    ///< a JSON array of [name, value]
  std::string_view raw;  ///< within the body
  std::optional<ConnectionFact> fact;
  std::optional<ClientVersion> version;
  RecordKey key{};
  std::int64_t id = 0;  ///< 0: not stored, because it had arrived before
};

/// The numbers of the last request and the last record that were ever stored.
struct LastNumbers {
  std::int64_t request = 0;
  std::int64_t record = 0;
};

/// A request that has arrived, split into its records: what is stored of it. The storage sets the numbers.
class Arrival {
 public:
  /// A request whose body is not split yet. `headersJson` is a JSON array of [name, value].
  Arrival(RequestRow head, std::string headersJson, std::string content);

  /// Splits the body, whatever memory its records take.
  Arrival(RequestRow head, std::string headersJson, std::string content, const FieldMapping& fields);
  Arrival(const Arrival&) = delete;
  Arrival& operator=(const Arrival&) = delete;

  /// Splits the body and sets the request's number of records and problem. Returns the bytes that the records take
  /// beside the body. When these are more than `mostBytes`, it has no records afterwards, and is to be split again.
  std::size_t split(const FieldMapping& fields, std::size_t mostBytes = std::numeric_limits<std::size_t>::max());

  /// Numbers the request and its new records after the last ones, and moves these on. `isNew` is called with each
  /// record, in order.
  template <typename IsNew>
  void number(LastNumbers& last, const IsNew& isNew) {
    request.id = ++last.request;
    request.duplicates = 0;
    for (ArrivedRecord& record : records) {
      record.id = isNew(record) ? ++last.record : 0;
      if (record.id == 0) ++request.duplicates;
    }
  }

  /// True after an attempt to store it, which may have stored it under its number.
  bool isNumbered() const { return request.id != 0; }

  RequestRow request;
  const std::string headers;
  const std::string body;
  std::deque<ArrivedRecord> records;  // which, unlike a vector, reserves no more than it holds
};

}  // namespace collector
