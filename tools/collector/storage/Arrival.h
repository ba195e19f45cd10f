#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/collector/service/ConnectionFact.h"
#include "tools/collector/service/FieldMapping.h"
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
};

/// A request that has arrived, split into its records: what is stored of it, except the numbers, which the storage
/// gives it.
class Arrival {
 public:
  /// Splits the body and sets the request's length, number of records and problem. `headers` is a JSON array of
  /// [name, value].
  Arrival(RequestRow head, std::string headersJson, std::string content, const FieldMapping& fields);
  Arrival(const Arrival&) = delete;
  Arrival& operator=(const Arrival&) = delete;

  RequestRow request;
  const std::string headers;
  const std::string body;
  std::vector<ArrivedRecord> records;
};

}  // namespace collector
