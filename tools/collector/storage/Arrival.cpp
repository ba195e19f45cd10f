#include "tools/collector/storage/Arrival.h"

#include <utility>

#include "tools/collector/Json.h"
#include "tools/collector/RecordReader.h"

namespace collector {

namespace {

/// What a text allocates.
std::size_t memoryOf(const std::string& text) {
  return text.capacity() > std::string().capacity() ? text.capacity() + 1 : 0;
}

std::size_t memoryOf(const std::optional<std::string>& text) { return text ? memoryOf(*text) : 0; }

std::size_t memoryOf(const ArrivedRecord& record) {
  std::size_t bytes = sizeof record + memoryOf(record.subType) + memoryOf(record.event) + memoryOf(record.problem) +
                      memoryOf(record.values);
  if (const auto& fact = record.fact) {
    for (const std::string* text :
         {&fact->client, &fact->session, &fact->network, &fact->reason, &fact->technology, &fact->version}) {
      bytes += memoryOf(*text);
    }
  }
  if (const auto& version = record.version) bytes += memoryOf(version->client) + memoryOf(version->version);
  return bytes;
}

}  // namespace

Arrival::Arrival(RequestRow head, std::string headersJson, std::string content)
    : request(std::move(head)), headers(std::move(headersJson)), body(std::move(content)) {
  request.id = 0;
  request.bytes = static_cast<std::int64_t>(body.size());
}

Arrival::Arrival(RequestRow head, std::string headersJson, std::string content, const FieldMapping& fields)
    : Arrival(std::move(head), std::move(headersJson), std::move(content)) {
  split(fields);
}

std::size_t Arrival::split(const FieldMapping& fields, std::size_t mostBytes) {
  const ConnectionFact::Time arrival = timeIn(request.time).value_or(ConnectionFact::Time());
  RecordKeys keys(fields);
  std::size_t bytes = 0;
  request.records = 0;
  request.problem = readRecords(request.path, body, [&](const Record& record) {
    ++request.records;
    records.push_back({.type = record.type,
                       .subType = record.subType,
                       .event = record.event,
                       .problem = record.problem,
                       .values = pairsJson(record.values),
                       .raw = record.raw,
                       .fact = factOf(record, fields, arrival),
                       .version = clientVersionOf(record, fields),
                       .key = keys.next(record)});
    bytes += memoryOf(records.back()) + request.path.size();  // each record is stored with the path
    if (bytes > mostBytes) records.clear();
  });
  return bytes;
}

}  // namespace collector
