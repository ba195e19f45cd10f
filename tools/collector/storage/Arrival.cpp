#include "tools/collector/storage/Arrival.h"

#include <utility>

#include "tools/collector/Json.h"
#include "tools/collector/RecordReader.h"

namespace collector {

Arrival::Arrival(RequestRow head, std::string headersJson, std::string content, const FieldMapping& fields)
    : request(std::move(head)), headers(std::move(headersJson)), body(std::move(content)) {
  request.id = 0;
  request.bytes = static_cast<std::int64_t>(body.size());
  const ConnectionFact::Time arrival = timeIn(request.time).value_or(ConnectionFact::Time());
  RecordKeys keys(fields);
  request.problem = readRecords(request.path, body, [&](const Record& record) {
    records.push_back({.type = record.type,
                       .subType = record.subType,
                       .event = record.event,
                       .problem = record.problem,
                       .values = pairsJson(record.values),
                       .raw = record.raw,
                       .fact = factOf(record, fields, arrival),
                       .version = clientVersionOf(record, fields),
                       .key = keys.next(record)});
  });
  request.records = static_cast<std::int64_t>(records.size());
}

}  // namespace collector
